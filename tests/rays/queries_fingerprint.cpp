#include "rays/bundles.h"
#include "support/fingerprint.h"

namespace {

using namespace zypr::test;

void addResults(Fingerprint &print, Query query) {
    Random random(61);
    const TestScene scene = randomScene(62, 300, 0.4f);
    for (const Rays kind : {Rays::coherent, Rays::axisAligned, Rays::incoherent, Rays::tinyComponents})
        for (const int misaligned : {-1, 0}) {
            const Bundle bundle = randomBundle(random, 32, 32, kind, query != Query::mo);
            const model::Results results = runLibrary(query, bundle, &scene, query == Query::multiple ? 6 : 1, misaligned);
            print.add(results.triangle);
            print.add(results.dist);
            print.add(results.weight0);
            print.add(results.weight1);
        }
}

} // namespace

FINGERPRINT(zyprIntersectMO_32f) { addResults(print, Query::mo); }
FINGERPRINT(zyprIntersectEyeSO_32f) { addResults(print, Query::eye); }
FINGERPRINT(zyprIntersectMultipleSO_32f) { addResults(print, Query::multiple); }
FINGERPRINT(zyprIntersectAnySO_32f) {
    Random random(63);
    const TestScene scene = randomScene(64, 300, 0.4f);
    for (const int misaligned : {-1, 0}) {
        const Blocked results = runAny(randomBundle(random, 32, 32, Rays::coherent, true), &scene, misaligned);
        print.add(results.triangle);
        print.add(results.mask);
    }
}
