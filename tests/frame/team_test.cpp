#include "frame/team.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>

TEST(RunTeam, GivesEveryThreadItsNumberOnce) {
    for (const int wanted : {1, 2, 3, 5, 16}) {
        std::atomic<int> visits{0}, numbers{0}, size{0};
        zypr::runTeam(wanted, [&](int thread, int teamSize) {
            ++visits;
            numbers += thread;
            size = teamSize;
        });
        EXPECT_LE(size, wanted);
        EXPECT_EQ(visits, size);
        EXPECT_EQ(numbers, size * (size - 1) / 2);
    }
}

TEST(RunTeam, TakesACountBelowOneAsOne) {
    for (const int wanted : {0, -3}) {
        int visits = 0;
        zypr::runTeam(wanted, [&](int, int teamSize) { visits += teamSize; });
        EXPECT_EQ(visits, 1);
    }
}

TEST(RunTeam, InAChildForkedAfterATeamRunsOnTheCallingThreadAndDoesNotHang) {
    std::atomic<int> visits{0};
    zypr::runTeam(2, [&](int, int) { ++visits; });
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        int threads = 0;
        zypr::runTeam(2, [&](int, int teamSize) { threads = teamSize; });
        _exit(threads);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 1);
}

TEST(TeamShare, CoversTheItemsInOrderWithTheRemainderLast) {
    for (const int items : {0, 1, 15, 16, 17, 100}) {
        for (const int teamSize : {1, 2, 3, 5, 16, 40}) {
            int next = 0;
            for (int thread = 0; thread < teamSize; ++thread) {
                const zypr::TeamShare share = zypr::teamShare(items, thread, teamSize);
                EXPECT_EQ(share.first, next);
                EXPECT_EQ(share.count, items / teamSize + (thread == teamSize - 1 ? items % teamSize : 0));
                next += share.count;
            }
            EXPECT_EQ(next, items);
        }
    }
}
