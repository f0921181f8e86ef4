#pragma once

#include "Heap.h"

#include <cstddef>
#include <cstdlib>
#include <string>
#include <unordered_map>
#include <vector>

namespace zeqcam::simulation {

// The C library's memory, which no operator new of the program counts or refuses: a point must not fail where
// there was none, and does not change where the program's memory is.
template <class Value>
struct OwnMemory {
    using value_type = Value;

    OwnMemory() = default;
    template <class Other>
    OwnMemory(OwnMemory<Other> const&) {}

    Value* allocate(std::size_t count) {
        void* const memory = allocateOwn(count * sizeof(Value));
        if (memory == nullptr) std::abort();
        return static_cast<Value*>(memory);
    }
    void deallocate(Value* memory, std::size_t) { freeOwn(memory); }

    bool operator==(OwnMemory const&) const { return true; }
};

template <class Value>
using OwnVector = std::vector<Value, OwnMemory<Value>>;
using OwnString = std::basic_string<char, std::char_traits<char>, OwnMemory<char>>;
template <class Key, class Value>
using OwnMap = std::unordered_map<Key, Value, std::hash<Key>, std::equal_to<Key>,
                                  OwnMemory<std::pair<Key const, Value>>>;

}  // namespace zeqcam::simulation
