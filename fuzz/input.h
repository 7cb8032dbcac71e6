// SPDX-License-Identifier: MIT
//
// The input that determines what a fuzz target does, and the macro that reports a fault.

#ifndef VELUTILS_FUZZ_INPUT_H
#define VELUTILS_FUZZ_INPUT_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <string>

// Runs the target once, with any bytes. The fuzzer calls this, or replay_main.cc with the bytes of
// a file.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

#define REQUIRE(condition)                                                      \
    do {                                                                        \
        if (condition) break;                                                   \
        fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition); \
        abort();                                                                \
    } while (false)

// The bytes of a run, read from the front. After their end, numbers are zero and texts are empty.
class Input {
  public:
    Input(const uint8_t* data, size_t size) : at_(data), left_(size) {}

    bool isEmpty() const { return left_ == 0; }
    // Reads a number below n from one byte. n is at most 256.
    size_t below(size_t n) { return number<uint8_t>() % n; }
    template <class Number>
    Number number() {
        Number value = 0;
        const std::string bytes = text(sizeof value);
        memcpy(&value, bytes.data(), bytes.size());
        return value;
    }
    // Reads the next bytes, at most n.
    std::string text(size_t n) {
        n = std::min(n, left_);
        const std::string bytes(reinterpret_cast<const char*>(at_), n);
        at_ += n;
        left_ -= n;
        return bytes;
    }
    // Reads the bytes up to the next NUL, and skips the NUL, or reads all bytes.
    std::string line() {
        const std::string bytes = text(strnlen(reinterpret_cast<const char*>(at_), left_));
        text(1);
        return bytes;
    }
    std::string rest() { return text(left_); }

  private:
    const uint8_t* at_;
    size_t left_;
};

#endif
