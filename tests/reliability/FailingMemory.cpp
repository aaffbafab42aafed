#include "tests/reliability/FailingMemory.h"

#include "tests/support/OpenDescriptors.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <new>

#include <dlfcn.h>
#include <sys/mman.h>

// The sanitizer that clang links in statically stands where `malloc` would be replaced.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) && defined(__clang__)
#define RELIABILITY_ONLY_NEW
#endif
#endif

namespace reliability {

namespace {

constexpr long never = 1L << 40;

struct State {
    bool armed = false;
    bool forever = false;
    bool refused = false;
    long refuseAt = 0;
    long seen = 0;
    long blocks = 0; ///< given by `operator new` and not yet taken back
};

State state;            // where memory is counted
State* shown = nullptr; // what a child process leaves for its parent to see

bool refuse() noexcept {
    if (!state.armed)
        return false;
    ++state.seen;
    if (state.seen < state.refuseAt || (state.seen > state.refuseAt && !state.forever))
        return false;
    state.refused = true;
    if (shown != nullptr)
        shown->refused = true;
    return true;
}

template <class Function>
Function next(char const* name) noexcept {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void* realMalloc(std::size_t size) noexcept {
#ifdef RELIABILITY_ONLY_NEW
    return std::malloc(size);
#else
    static auto const real = next<void* (*)(std::size_t)>("malloc");
    return real(size);
#endif
}

void* give(std::size_t size) noexcept {
    if (refuse())
        return nullptr;
    void* const memory = realMalloc(size != 0 ? size : 1);
    if (memory != nullptr)
        ++state.blocks;
    return memory;
}

void* giveOrThrow(std::size_t size) {
    void* const memory = give(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void take(void* memory) noexcept {
    if (memory == nullptr)
        return;
    --state.blocks;
    std::free(memory);
}

void withScarceMemory(std::function<void()> const& piece) {
    state.seen = 0;
    state.armed = true;
    piece();
    state.armed = false;
}

void makeAttempt(std::function<void(WithScarceMemory const&)> const& attempt, long refuseAt,
                 bool forever) {
    state.refuseAt = refuseAt;
    state.forever = forever;
    state.refused = false;
    shown->refused = false;
    attempt(withScarceMemory);
}

} // namespace

bool wasRefused() noexcept {
    return state.refused || (shown != nullptr && shown->refused);
}

void refuseAllocation(long at, bool forever) noexcept {
    state.refuseAt = at != 0 ? at : never;
    state.forever = forever;
    state.seen = 0;
    state.armed = true;
}

// For the coverage build, which writes its counters when a process ends itself.
extern "C" void allowAllocations() {
    state.armed = false;
}

long allocationsAskedFor() noexcept {
    return state.seen;
}

long refuseEachAllocation(std::function<void(WithScarceMemory const&)> const& attempt) {
    void* const page =
        mmap(nullptr, sizeof(State), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    shown = new (page) State;
    makeAttempt(attempt, never, false); // what is made once per process is made here

    long points = 0;
    for (bool const forever : {false, true}) {
        for (long at = 1;; ++at) {
            SCOPED_TRACE("allocation " + std::to_string(at) +
                         (forever ? " and all later ones" : ""));
            long const blocks = state.blocks;
            auto const descriptors = support::openDescriptors();
            makeAttempt(attempt, at, forever);
            EXPECT_EQ(state.blocks, blocks) << "memory leaked";
            EXPECT_EQ(support::openDescriptors(), descriptors) << "descriptor leaked";
            if (!wasRefused() || testing::Test::HasFailure())
                break;
            ++points;
        }
    }
    shown = nullptr;
    munmap(page, sizeof(State));
    std::cout << "allocations refused: " << points << '\n';
    return points;
}

} // namespace reliability

using namespace reliability;

void* operator new(std::size_t size) {
    return giveOrThrow(size);
}
void* operator new[](std::size_t size) {
    return giveOrThrow(size);
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    return give(size);
}
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept {
    return give(size);
}
void operator delete(void* memory) noexcept {
    take(memory);
}
void operator delete[](void* memory) noexcept {
    take(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    take(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    take(memory);
}
void operator delete(void* memory, std::nothrow_t const&) noexcept {
    take(memory);
}
void operator delete[](void* memory, std::nothrow_t const&) noexcept {
    take(memory);
}

#ifndef RELIABILITY_ONLY_NEW

extern "C" void* malloc(std::size_t size) noexcept {
    if (reliability::refuse()) {
        errno = ENOMEM;
        return nullptr;
    }
    return reliability::realMalloc(size);
}

extern "C" void* calloc(std::size_t count, std::size_t size) noexcept {
    static auto const real = reliability::next<void* (*)(std::size_t, std::size_t)>("calloc");
    if (reliability::refuse()) {
        errno = ENOMEM;
        return nullptr;
    }
    return real(count, size);
}

extern "C" void* realloc(void* memory, std::size_t size) noexcept {
    static auto const real = reliability::next<void* (*)(void*, std::size_t)>("realloc");
    if (reliability::refuse()) {
        errno = ENOMEM;
        return nullptr;
    }
    return real(memory, size);
}

#endif
