#ifndef JAY_TESTS_CONTAINERS_KEYS_H
#define JAY_TESTS_CONTAINERS_KEYS_H

#include "core/JString.h"
#include "support/Counted.h"

namespace containers {

using support::Counted;
using support::numberOf;

/** A key whose hash the test chooses. It counts how often it and its clones are asked. */
class Key : public Counted {
public:
    Key(int n, int hashValue) : Counted(n), hash(hashValue) {}
    explicit Key(int n) : Key(n, n) {}

    using Counted::equals;
    bool equals(const JObject* other) override {
        asked()++;
        return numberOf(other) == number;
    }
    int hashCode() override {
        hashed()++;
        return hash;
    }
    JObject* clone() override {
        log().push_back("clone key " + std::to_string(number));
        return new Key(*this);
    }

    static int& hashed() {
        static int count = 0;
        return count;
    }
    static int& asked() {
        static int count = 0;
        return count;
    }

    const int hash;
};

/** A key that does not clone. */
class UnclonableKey : public Key {
public:
    using Key::Key;
    JObject* clone() override { return nullptr; }
};

/** A value that does not clone. */
class UnclonableValue : public Counted {
public:
    using Counted::Counted;
    JObject* clone() override { return nullptr; }
};

// The example of containers/JHashtable.h, to the letter:
class Name : public JString {
public:
    Name(const char* s) : JString(s) {}
    using JString::equals;
    bool equals(const JObject* other) override {
        return JObject::equals(*other) && JString::equals(*static_cast<const JString*>(other));
    }
    JObject* clone() override { return new Name(*this); }
};

}  // namespace containers

#endif
