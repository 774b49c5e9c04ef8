#ifndef JAY_TESTS_SUPPORT_COUNTED_H
#define JAY_TESTS_SUPPORT_COUNTED_H

#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

#include "core/JObject.h"

namespace support {

/** An object whose life a test follows: how many there are, that none is deleted twice, and what happened to
 * them in which order. */
class Counted : public JObject {
public:
    explicit Counted(int n) : number(n) { alive().insert(this); }
    Counted(const Counted& other) : JObject(other), number(other.number) { alive().insert(this); }
    Counted& operator=(const Counted&) = delete;
    ~Counted() override {
        EXPECT_EQ(alive().erase(this), 1u) << "deleted twice";
        log().push_back("delete " + std::to_string(number));
    }
    JObject* clone() override {
        log().push_back("clone " + std::to_string(number));
        return new Counted(*this);
    }

    static std::set<const Counted*>& alive() {
        static std::set<const Counted*> objects;
        return objects;
    }
    static std::vector<std::string>& log() {
        static std::vector<std::string> events;
        return events;
    }

    const int number;
};

inline int numberOf(const JObject* object) {
    return static_cast<const Counted*>(object)->number;
}

/** A test after which no Counted is left; it starts with an empty log. */
class CountedTest : public testing::Test {
protected:
    using Log = std::vector<std::string>;

    void SetUp() override { Counted::log().clear(); }
    void TearDown() override { EXPECT_EQ(Counted::alive().size(), 0u) << "leaked"; }

    /** What happened since the last call. */
    static Log happened() {
        Log events;
        events.swap(Counted::log());
        return events;
    }
    static int alive() { return static_cast<int>(Counted::alive().size()); }
};

}  // namespace support

#endif
