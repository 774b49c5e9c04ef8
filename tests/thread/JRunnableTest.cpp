#include "thread/JRunnable.h"

#include <gtest/gtest.h>
#include <type_traits>

#include "core/JObject.h"
#include "thread/JThread.h"

namespace {

/** Counts its runs and reports its destruction. */
class Target : public JRunnable {
public:
    explicit Target(bool& destroyed) : destroyed_(destroyed) {}
    ~Target() override { destroyed_ = true; }
    void run() override { runs++; }

    int runs = 0;

private:
    bool& destroyed_;
};

}  // namespace

TEST(JRunnable, IsAnInterfaceAndNoJObject) {
    EXPECT_TRUE(std::is_abstract<JRunnable>::value);
    EXPECT_FALSE((std::is_base_of<JObject, JRunnable>::value));
    EXPECT_EQ(sizeof(JRunnable), sizeof(void*));
}

TEST(JRunnable, IsDestroyedThroughTheInterface) {
    bool destroyed = false;
    JRunnable* target = new Target(destroyed);
    delete target;
    EXPECT_TRUE(destroyed);
}

TEST(JRunnable, AThreadRunsItOnceAndDoesNotOwnIt) {
    bool destroyed = false;
    Target target(destroyed);
    {
        JThread thread(&target);
        thread.start();
        thread.join();
    }
    EXPECT_EQ(target.runs, 1);
    EXPECT_FALSE(destroyed);
}

TEST(JRunnable, AThreadIsATargetToo) {
    EXPECT_TRUE((std::is_base_of<JRunnable, JThread>::value));
}
