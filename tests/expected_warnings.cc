// SPDX-License-Identifier: MIT
//
// Only compiled, by expected_warnings: what the public headers make the compiler warn about.

#include <velutils++/locks.h>
#include <velutils++/scoped_lock.h>
#include <velutils++/status.h>
#include <velutils++/text.h>

#include <vector>

enum Color { RED };
struct Record {
    operator int() const { return 65; }
    unsigned bits : 3;
};
void take(const String& text);
void takeValue(String text);

// A number becomes one character, by every way into a text.
void numbers(StatusInterface& status, String s, int n, unsigned char byte, size_t size,
             long long wide, double real, const Record& record) {
    status.setStatus("/n", 42);           // warns
    take(n);                              // warns
    take(byte);                           // warns
    take(size);                           // warns
    take(wide);                           // warns
    take(real);                           // warns
    take(true);                           // warns
    take(RED);                            // warns
    take(record.bits);                    // warns
    takeValue(0);                         // warns
    String copied = n;                    // warns
    String direct(5);                     // warns
    std::vector<String> many = {"a", 5};  // warns
    many.push_back(7);                    // warns
    s = n;                                // warns
    s += size;                            // warns
    s = s + n;                            // warns
    s = 3L + s;                           // warns
    s = String("n=") + 42U;               // warns
    s.insert(0, n);                       // warns
    s.concat(n);                          // warns
}

// Characters and texts do not.
void texts(StatusInterface& status, String s, const std::vector<String>& many, const char* none) {
    status.setStatus("/n", String::stringOf(42));
    take('c');
    take('\0');
    take(nullptr);
    take({});
    takeValue("a");
    String copied = 'c';
    String fromNull(none), fromCharacter('c'), reserved("", 5);
    s = 'c';
    s = nullptr;
    s += '\n';
    s += many[0];
    s = 'c' + s + 'c' + "text" + many[0];
    s.insert(0, 'c').insert(0, "x").insert(0, s).concat("x", 1);
    const char bare = "x"[0];
    s += bare;
    if (s == 'c') s += static_cast<char>('0' + 1);
}

// Nor do enumerators in sums.
int sums(int n) {
    enum { HEADER = 8, PAYLOAD = 16 };
    return HEADER + PAYLOAD + n + RED + HEADER * n;
}

// Sizes have digits of their own on every platform.
String digits(const std::vector<int>& v, short s, unsigned char byte, int32_t wide, uint32_t u) {
    return String::stringOf(v.size()) + String::stringOf(wide + 1) + String::stringOf(u) +
           String::stringOf(s) + String::stringOf(byte) + String::stringOf('c') +
           String::stringOf(true) + String::stringOf(0) + String::stringOf(-1L);
}

void formats(String s, char* buffer, long wide) {
    snxprintf(buffer, 0, 10, "%s %d", 5, 5);  // warns
    (void)strlenf("%d", wide);                // warns
    s.format("%lu", s.buffer());              // warns
    s.concatf("%s %s", "one");                // warns
    snxprintf(buffer, 0, 10, "%s %d %lu %c %p %.3s", "x", 5, 5UL, 'c', static_cast<void*>(buffer),
              "x");
    s.format("%ld", wide).concatf("%5.2x %%", 2U);
}

void guards(CSemaphore& semaphore, CRecursiveSemaphore& mutex) {
    ScopedLock<CSemaphore>{semaphore};                 // warns from 17
    ScopedLock<CRecursiveSemaphore>(mutex, TRY_LOCK);  // warns from 17
    const ScopedLock<CSemaphore> guard(semaphore);
    ScopedLock<CRecursiveSemaphore> other(mutex, TRY_LOCK);
    if (guard && other.held()) other.unlock();
}
