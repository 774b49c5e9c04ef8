#include "thread/JThreadInit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include "thread/JThread.h"
#include "thread/Scenario.h"

using testing::ElementsAre;

TEST(JThreadInitTest, Load_InstallsAnEmptyHandlerThatInterruptsCalls) {
    struct sigaction action {};
    ASSERT_EQ(sigaction(SIGHUP, nullptr, &action), 0);
    EXPECT_NE(action.sa_handler, SIG_DFL);
    EXPECT_NE(action.sa_handler, SIG_IGN);
    EXPECT_EQ(action.sa_flags & (SA_RESTART | SA_SIGINFO | SA_RESETHAND | SA_NODEFER), 0);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGUSR1})
        EXPECT_EQ(sigismember(&action.sa_mask, signal), 0);
    EXPECT_EQ(raise(SIGHUP), 0);
}

TEST(JThreadInitTest, TheMainThreadIsFirst) {
    EXPECT_EQ(JThreadInit::_tid, pthread_self());
    ASSERT_NE(JThreadInit::_tag, nullptr);
    EXPECT_EQ(JThreadInit::_tag->thread->getId(), JThreadInit::_tid);
    EXPECT_EQ(JThread::currentThread(), JThreadInit::_tag->thread);
}

TEST(JThreadInitTest, Load_AdoptsTheMainThreadAndCountsFromThere) {
    EXPECT_THAT(thread::run("load").lines,
                ElementsAre("one entry", "main thread", "count 0", "alive", "exit"));
}
