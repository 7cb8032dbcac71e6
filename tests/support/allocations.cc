// SPDX-License-Identifier: MIT

#include "tests/support/allocations.h"

#include <errno.h>
#include <stdlib.h>

#include <atomic>
#include <new>

// The functions of the C library, or of the sanitizer, that serve the requests.
#ifdef VELUTILS_SANITIZER_HEAP
#define REAL(function) __interceptor_##function
#else
#define REAL(function) __libc_##function
#endif

extern "C" {
void* REAL(malloc)(size_t size);
void* REAL(calloc)(size_t count, size_t size);
void* REAL(realloc)(void* block, size_t size);
void REAL(free)(void* block);
}

namespace {

std::atomic<long> blocks(0);
thread_local long requestCount;
thread_local long refuseAt;  // 0: none
thread_local bool refused;

bool refuse() {
    ++requestCount;
    if (refuseAt == 0 || --refuseAt > 0) return false;
    refused = true;
    errno = ENOMEM;
    return true;
}

void* counted(void* block) {
    if (block != nullptr) ++blocks;
    return block;
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void* malloc(size_t size) {
    return refuse() ? nullptr : counted(REAL(malloc)(size));
}

__attribute__((visibility("default"))) void* calloc(size_t count, size_t size) {
    return refuse() ? nullptr : counted(REAL(calloc)(count, size));
}

__attribute__((visibility("default"))) void* realloc(void* block, size_t size) {
    if (refuse()) return nullptr;
    void* const moved = REAL(realloc)(block, size);
    if (block == nullptr) counted(moved);
    return moved;
}

__attribute__((visibility("default"))) void free(void* block) {
    if (block != nullptr) --blocks;
    REAL(free)(block);
}
}

void* operator new(size_t size) {
    void* const block = malloc(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void* operator new[](size_t size) {
    return operator new(size);
}

void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return malloc(size);
}

void* operator new[](size_t size, const std::nothrow_t&) noexcept {
    return malloc(size);
}

void operator delete(void* block) noexcept {
    free(block);
}

void operator delete[](void* block) noexcept {
    free(block);
}

void operator delete(void* block, size_t) noexcept {
    free(block);
}

void operator delete[](void* block, size_t) noexcept {
    free(block);
}

// Used if a constructor throws after new (std::nothrow).
void operator delete(void* block, const std::nothrow_t&) noexcept {
    free(block);
}

void operator delete[](void* block, const std::nothrow_t&) noexcept {
    free(block);
}

namespace allocations {

long outstanding() {
    return blocks;
}

long requests() {
    return requestCount;
}

Refusal::Refusal(long n) {
    refused = false;
    refuseAt = n;
}

Refusal::~Refusal() {
    refuseAt = 0;
}

bool Refusal::happened() const {
    return refused;
}

}  // namespace allocations
