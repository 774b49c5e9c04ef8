/** @file One row of the table of classes, and what a row needs: offsets of fields, slots of virtual operations. */
#ifndef JAY_TESTS_LAYOUT_LAYOUT_H
#define JAY_TESTS_LAYOUT_LAYOUT_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "core/JObject.h"

namespace layout {

struct Field {
    const char* name;
    std::size_t offset;
    std::size_t size;
    std::size_t alignment;
};

/** Where a field stands. A pointer to a data member holds the offset: offsetof() is not defined for these classes. */
template <class Class, class Type>
Field field(const char* name, Type Class::*member) {
    std::ptrdiff_t offset;
    static_assert(sizeof(offset) == sizeof(member), "a pointer to a data member is an offset");
    std::memcpy(&offset, &member, sizeof(offset));
    return {name, static_cast<std::size_t>(offset), sizeof(Type), alignof(Type)};
}

struct Slot {
    const char* operation;
    std::size_t index;
};

/**
 * Where a virtual operation stands in the table of virtual operations. A pointer to a member function holds the
 * distance from the start of the table, in bytes; on some processors its lowest bit is set.
 */
template <class Signature, class Class>
Slot slot(const char* operation, Signature Class::*member) {
    std::uintptr_t distance;
    std::memcpy(&distance, &member, sizeof(distance));
    return {operation, (distance & ~std::uintptr_t{1}) / sizeof(void*)};
}

constexpr std::size_t roundedUp(std::size_t n, std::size_t alignment) {
    return (n + alignment - 1) / alignment * alignment;
}

/** What applications rely on in one class. */
struct Row {
    std::string name;
    std::size_t size;
    std::size_t alignment;
    std::size_t baseSize;
    std::size_t sizeOn32Bits;  ///< 0: the class may grow behind its fields

    const JClass* record = nullptr;  ///< what its objects answer; null: it is no JObject
    std::string recordName;          ///< empty: the class answers its base's record
    const JClass* superclass = nullptr;
    std::function<const JClass*()> answer;  ///< asks an object; empty: there is none to ask

    std::vector<Field> fields;  ///< in their order, without gaps, the first one right behind the base
    std::size_t firstSlot = 0;
    std::vector<Slot> slots;  ///< the class's own operations, in their order, from firstSlot on

    /** The class has a record of its own, which holds its name without that of the class around it. */
    Row&& owns(const JClass& own, const JClass* super, std::function<const JClass*()> ask) && {
        record = &own;
        recordName = name.substr(name.rfind(':') + 1);
        superclass = super;
        answer = std::move(ask);
        return std::move(*this);
    }

    /** The class answers its base's record. */
    Row&& inherits(const JClass& inherited, std::function<const JClass*()> ask) && {
        record = &inherited;
        answer = std::move(ask);
        return std::move(*this);
    }

    Row&& holds(std::vector<Field> inOrder) && {
        fields = std::move(inOrder);
        return std::move(*this);
    }

    Row&& appends(std::size_t first, std::vector<Slot> inOrder) && {
        firstSlot = first;
        slots = std::move(inOrder);
        return std::move(*this);
    }
};

/** A class without data behind the base counts as having none; Base is void for a class without one. */
template <class Class, class Base>
Row row(const char* name, std::size_t sizeOn32Bits) {
    Row made;
    made.name = name;
    made.size = sizeof(Class);
    made.alignment = alignof(Class);
    if constexpr (std::is_void_v<Base>) {
        made.baseSize = std::is_polymorphic_v<Class> ? sizeof(void*) : 0;
    } else {
        made.baseSize = sizeof(Base);
    }
    made.sizeOn32Bits = sizeOn32Bits;
    return made;
}

/** Every class that the library exports. */
std::vector<Row> table();

}  // namespace layout

#endif
