// What code calls that a compiler has instrumented for a thread sanitizer, its atomic operations alone: each
// is a point of the simulation, and then done. No sanitizer's runtime is linked. Memory orders are not looked
// at: one thread runs at a time.
#include <zeqcam/simulation/Simulation.h>

#include <cstdint>

namespace {

using zeqcam::simulation::Access;
using zeqcam::simulation::touch;

// What the thread has looked at last, and how often in a row.
thread_local void const* tLookedAt = nullptr;
thread_local std::uint64_t tSaw = 0;
thread_local int tLooks = 0;

// Some standard libraries look at an atomic dozens of times before they wait. To lose the turn between two
// looks that see the same is as good as to lose it before the first or behind the last: most are no points.
template <class Value>
Value look(Value const volatile* object) {
    constexpr int kFewLooks = 2;
    constexpr int kLooksToAPoint = 64;
    void const* const address = const_cast<Value const*>(object);
    Value const before = __atomic_load_n(object, __ATOMIC_SEQ_CST);
    tLooks = tLookedAt == address && tSaw == before ? tLooks + 1 : 0;
    tLookedAt = address;
    tSaw = before;
    if (tLooks >= kFewLooks && tLooks % kLooksToAPoint != 0) return before;
    touch(address, Access::Read);
    Value const seen = __atomic_load_n(object, __ATOMIC_SEQ_CST);
    tSaw = seen;
    return seen;
}

void change(void const volatile* object) {
    tLookedAt = nullptr;
    touch(const_cast<void const*>(object), Access::Write);
}

}  // namespace

extern "C" {

void __tsan_init();
void __tsan_init() {}

#define ATOMIC_OF(bits)                                                                                     \
    using Value##bits = std::uint##bits##_t;                                                                \
    Value##bits __tsan_atomic##bits##_load(Value##bits const volatile* object, int);                        \
    Value##bits __tsan_atomic##bits##_load(Value##bits const volatile* object, int) {                       \
        return look(object);                                                                                \
    }                                                                                                       \
    void __tsan_atomic##bits##_store(Value##bits volatile* object, Value##bits value, int);                 \
    void __tsan_atomic##bits##_store(Value##bits volatile* object, Value##bits value, int) {                \
        change(object);                                                                                     \
        __atomic_store_n(object, value, __ATOMIC_SEQ_CST);                                                  \
    }                                                                                                       \
    Value##bits __tsan_atomic##bits##_compare_exchange_val(                                                 \
        Value##bits volatile* object, Value##bits expected, Value##bits desired, int, int);                 \
    Value##bits __tsan_atomic##bits##_compare_exchange_val(                                                 \
        Value##bits volatile* object, Value##bits expected, Value##bits desired, int, int) {                \
        change(object);                                                                                     \
        __atomic_compare_exchange_n(object, &expected, desired, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST); \
        return expected;                                                                                    \
    }                                                                                                       \
    FETCHES(bits, exchange, __atomic_exchange_n)                                                            \
    FETCHES(bits, fetch_add, __atomic_fetch_add)                                                            \
    FETCHES(bits, fetch_sub, __atomic_fetch_sub)                                                            \
    FETCHES(bits, fetch_or, __atomic_fetch_or)                                                              \
    FETCHES(bits, fetch_and, __atomic_fetch_and)

#define FETCHES(bits, name, builtin)                                                                 \
    Value##bits __tsan_atomic##bits##_##name(Value##bits volatile* object, Value##bits value, int);  \
    Value##bits __tsan_atomic##bits##_##name(Value##bits volatile* object, Value##bits value, int) { \
        change(object);                                                                              \
        return builtin(object, value, __ATOMIC_SEQ_CST);                                             \
    }

ATOMIC_OF(8)
ATOMIC_OF(16)
ATOMIC_OF(32)
ATOMIC_OF(64)

// Plain memory: threads that use it in turns, ordered by a lock or an atomic, meet at none of these.
#define ACCESSES(name, access)         \
    void __tsan_##name(void* object);  \
    void __tsan_##name(void* object) { \
        touch(object, access);         \
    }
#define ACCESSES_OF(size)                        \
    ACCESSES(read##size, Access::Read)           \
    ACCESSES(write##size, Access::Write)         \
    ACCESSES(unaligned_read##size, Access::Read) \
    ACCESSES(unaligned_write##size, Access::Write)

ACCESSES_OF(1)
ACCESSES_OF(2)
ACCESSES_OF(4)
ACCESSES_OF(8)
ACCESSES_OF(16)
ACCESSES(vptr_read, Access::Read)

void __tsan_vptr_update(void** object, void* value);
void __tsan_vptr_update(void** object, void*) {
    touch(object, Access::Write);
}
}
