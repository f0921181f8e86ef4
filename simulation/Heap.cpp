#include "Heap.h"

#include "Libc.h"
#include "Thread.h"

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>

// glibc's own, whatever stands in their place: nothing has to be looked for, which would take memory itself.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);
}

namespace zeqcam::simulation {
namespace {

constexpr std::size_t kUnit = 16;
constexpr std::size_t kPage = 4096;
constexpr std::size_t kRegion = std::size_t{1} << 36;
constexpr std::uintptr_t kPlace = 0x1000'0000'0000;
constexpr std::size_t kSmall = 1024;  // up to here a class for every unit, above for every power of two

struct Header {
    std::uint32_t kind;    // the class
    std::uint32_t offset;  // of the memory from the block's begin
    std::size_t size;      // from the memory to the block's end
};
static_assert(sizeof(Header) == kUnit);

struct Freed {
    Freed* next;
};

// Whoever has it is alone; held for moments only.
class Turn {
  public:
    Turn() {
        while (sTaken.test_and_set(std::memory_order_acquire)) {
        }
    }
    ~Turn() { sTaken.clear(std::memory_order_release); }
    Turn(Turn const&) = delete;
    Turn& operator=(Turn const&) = delete;

  private:
    static constinit std::atomic_flag sTaken;
};
constinit std::atomic_flag Turn::sTaken;

constinit char* gBegin = nullptr;  // null: no region could be had
constinit char* gEnd = nullptr;    // of what has been used
constinit std::size_t gInUse = 0;  // blocks
constinit bool gKeeps = false;
constinit std::array<Freed*, kSmall / kUnit + 64> gFreed{};

bool isOfRegion(void const* memory) {
    auto const at = reinterpret_cast<std::uintptr_t>(memory);
    auto const begin = reinterpret_cast<std::uintptr_t>(gBegin);
    return gBegin != nullptr && at >= begin && at < begin + kRegion;
}

std::uint32_t kindOf(std::size_t size) {
    if (size <= kSmall) return static_cast<std::uint32_t>((size + kUnit - 1) / kUnit);
    return static_cast<std::uint32_t>(kSmall / kUnit + static_cast<std::size_t>(std::bit_width(size - 1)));
}

std::size_t sizeOf(std::uint32_t kind) {
    if (kind <= kSmall / kUnit) return kind * kUnit;
    return std::size_t{1} << (kind - kSmall / kUnit);
}

Header& headerOf(void* memory) {
    return static_cast<Header*>(memory)[-1];
}

// Null when the region has no more.
void* allocate(std::size_t size, std::size_t alignment = kUnit) {
    if (size > kRegion / 4 || alignment > kRegion / 4) return nullptr;
    std::size_t const room =
        sizeof(Header) + std::max(size, std::size_t{1}) + (alignment > kUnit ? alignment : 0);
    std::uint32_t const kind = kindOf(room);
    Turn const turn;
    char* block = nullptr;
    if (Freed* const freed = gFreed[kind]; freed != nullptr) {
        gFreed[kind] = freed->next;
        block = reinterpret_cast<char*>(freed);
    } else {
        if (sizeOf(kind) > kRegion - static_cast<std::size_t>(gEnd - gBegin)) return nullptr;
        block = gEnd;
        gEnd += sizeOf(kind);
    }
    ++gInUse;
    auto const first = reinterpret_cast<std::uintptr_t>(block) + sizeof(Header);
    std::size_t const offset = sizeof(Header) + ((first + alignment - 1) / alignment * alignment - first);
    char* const memory = block + offset;
    headerOf(memory) = {
        .kind = kind, .offset = static_cast<std::uint32_t>(offset), .size = sizeOf(kind) - offset};
    return memory;
}

void release(void* memory) {
    Header const header = headerOf(memory);
    Turn const turn;
    --gInUse;
    if (gKeeps) return;
    auto* const freed = reinterpret_cast<Freed*>(static_cast<char*>(memory) - header.offset);
    freed->next = gFreed[header.kind];
    gFreed[header.kind] = freed;
}

bool isServed() {
    return self() != nullptr && gBegin != nullptr;
}

void* orRefuse(void* memory) {
    if (memory == nullptr) errno = ENOMEM;
    return memory;
}

}  // namespace

void beginRegion() {
    if (gBegin == nullptr) {
        void* const memory = mmap(reinterpret_cast<void*>(kPlace), kRegion, PROT_READ | PROT_WRITE,
                                  MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED_NOREPLACE, -1, 0);
        if (memory == MAP_FAILED) return;
        gBegin = gEnd = static_cast<char*>(memory);
    }
    gFreed.fill(nullptr);
    auto const used = static_cast<std::size_t>(gEnd - gBegin);
    if (gInUse == 0) {
        madvise(gBegin, used, MADV_DONTNEED);
        gEnd = gBegin;
    } else {
        gEnd = gBegin + (used + kPage - 1) / kPage * kPage;
    }
}

void keepMemory() {
    gKeeps = true;
}

void* allocateOwn(std::size_t size) {
    return __libc_malloc(size);
}
void freeOwn(void* memory) {
    __libc_free(memory);
}

}  // namespace zeqcam::simulation

using namespace zeqcam::simulation;

#define TAKES_PLACE extern "C" [[gnu::visibility("default")]]

TAKES_PLACE void* malloc(std::size_t size) noexcept {
    return isServed() ? orRefuse(allocate(size)) : __libc_malloc(size);
}

TAKES_PLACE void free(void* memory) noexcept {
    isOfRegion(memory) ? release(memory) : __libc_free(memory);
}

TAKES_PLACE void* calloc(std::size_t count, std::size_t size) noexcept {
    if (!isServed()) return __libc_calloc(count, size);
    if (size != 0 && count > std::numeric_limits<std::size_t>::max() / size) return orRefuse(nullptr);
    void* const memory = orRefuse(allocate(count * size));
    return memory != nullptr ? std::memset(memory, 0, count * size) : nullptr;
}

TAKES_PLACE void* realloc(void* memory, std::size_t size) noexcept {
    if (memory == nullptr) return malloc(size);
    if (!isOfRegion(memory)) return __libc_realloc(memory, size);
    std::size_t const had = headerOf(memory).size;
    if (size <= had) return memory;
    void* const larger = malloc(size);
    if (larger == nullptr) return nullptr;
    std::memcpy(larger, memory, had);
    release(memory);
    return larger;
}

TAKES_PLACE void* memalign(std::size_t alignment, std::size_t size) noexcept {
    return isServed() ? orRefuse(allocate(size, alignment)) : __libc_memalign(alignment, size);
}

TAKES_PLACE void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    return memalign(alignment, size);
}

TAKES_PLACE int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept {
    if (!std::has_single_bit(alignment) || alignment % sizeof(void*) != 0) return EINVAL;
    int const before = errno;
    void* const found = memalign(alignment, size);
    errno = before;
    if (found == nullptr) return ENOMEM;
    *memory = found;
    return 0;
}

TAKES_PLACE std::size_t malloc_usable_size(void* memory) noexcept {
    return isOfRegion(memory) ? headerOf(memory).size : libc().malloc_usable_size(memory);
}
