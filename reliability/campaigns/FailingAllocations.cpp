// SPDX-License-Identifier: Apache-2.0
#include "reliability/campaigns/FailingAllocations.h"

#include <cstdlib>
#include <new>

namespace campaigns {

FailingAllocations allocations;

namespace {

bool MustFail() {
    ++allocations.count;
    if (allocations.failing == 0) return false;
    return allocations.lasting ? allocations.count >= allocations.failing
                               : allocations.count == allocations.failing;
}

}  // namespace
}  // namespace campaigns

// All forms: under a sanitizer those that are not replaced do not lead to those that are.
void* operator new(std::size_t size) {
    void* memory = campaigns::MustFail() ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return campaigns::MustFail() ? nullptr : std::malloc(size == 0 ? 1 : size);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
    return operator new(size, tag);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
