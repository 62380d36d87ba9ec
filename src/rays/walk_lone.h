// Walks of packets in which a single lane can still find anything: what bundles of rays in random directions mostly come to.
// Such walks take no decision but that lane's, and several are in flight at once.
#pragma once

#include "rays/walk_packet.h"

namespace zypr {

// A walk whose four lanes hold the same ray. Query is as for kdWalkRays, with finish() to write the results.
template <class Query> struct LoneWalk : Query {
    const ZyprKDNode *node;
    Float4 t0, t1;

    void begin(const ZyprKDNode *root, Float4 from, Float4 to) {
        node = root;
        t0 = from;
        t1 = to;
        depth_ = 0;
    }

    // At an inner node. Near, far or both is chosen without a branch, as no branch would be foretold.
    void step() {
        const unsigned axis = splitAxis(*node);
        const Float4 ts = this->group.planeDistance(0, axis, splitValue(*node));
        const Mask4 entering = t0 <= ts;
        const Mask4 crossing = entering & (ts <= t1);
        const ZyprKDNode *pair = childPair(*node);
        const unsigned upperFirst = this->group.octant >> axis & 1;
        stack_[depth_] = {pair + (upperFirst ^ 1), lane0(t1)};
        depth_ += signBits(crossing) & 1;
        node = pair + ((upperFirst ^ signBits(entering) ^ 1) & 1);
        t1 = select(crossing, ts, t1);
    }

    // At a leaf: goes on to the next inner node; false when the walk has ended.
    bool passLeaves() {
        do {
            this->visit(LeafTriangles(*node), 1);
            if (depth_ == 0 || none(this->remaining(0, t1))) return false;
            --depth_;
            node = stack_[depth_].node;
            t0 = t1;
            t1 = broadcast<4>(stack_[depth_].t1);
        } while (isLeaf(*node));
        return true;
    }

private:
    struct Place {
        const ZyprKDNode *node;
        float t1;
    };
    unsigned depth_;
    Place stack_[stackPlaces];
};

// Takes a step of each walk in turn, so that the steps of one hide the latency of another's. The walks must not depend on each
// other's results.
template <class Walk, int places> class WalksInFlight {
public:
    WalksInFlight() {
        for (int i = 0; i < places; ++i) order_[i] = &walks_[i];
    }
    WalksInFlight(const WalksInFlight &) = delete;

    // A walk for the caller to begin and then to launch; when all are in flight, one of them is finished first.
    Walk &vacant() {
        if (flying_ == places) finishOne();
        return *order_[flying_];
    }
    void launch() { ++flying_; }
    void finishAll() {
        while (flying_ > 0) finishOne();
    }

private:
    void finishOne() {
        for (;;)
            for (int i = 0; i < flying_; ++i) {
                Walk &walk = *order_[i];
                if (isLeaf(*walk.node) && !walk.passLeaves()) {
                    walk.finish();
                    order_[i] = order_[--flying_];
                    order_[flying_] = &walk;
                    return;
                }
                walk.step();
            }
    }

    Walk walks_[places];
    Walk *order_[places];
    int flying_ = 0;
};

} // namespace zypr
