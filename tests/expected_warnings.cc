// SPDX-License-Identifier: MIT
//
// Only compiled, by expected_warnings. The public headers make the compiler warn about these uses.

#include <velutils++/locks.h>
#include <velutils++/scoped_lock.h>
#include <velutils++/text.h>

#include <vector>

enum Color { RED };
struct Record {
    operator int() const { return 65; }
    unsigned bits : 3;
};
void take(const String& text);
void takeValue(String text);

// A number becomes one character, in every way that makes a text of it.
void numbers(String s, int n, size_t size, double real, const Record& record, bool& same) {
    take(n);                              // warns
    take(real);                           // warns
    take(true);                           // warns
    take(RED);                            // warns
    take(record.bits);                    // warns
    takeValue(0);                         // warns
    String copied = n;                    // warns
    String direct(5);                     // warns
    std::vector<String> many = {"a", 5};  // warns
    s = n;                                // warns
    s += size;                            // warns
    s = s + n;                            // warns
    s = 3L + s;                           // warns
    s.insert(0, n);                       // warns
    s.indexOf(n);                         // warns
    s.lastIndexOf(n);                     // warns
    s.lastIndexOf(n, 5);                  // warns
    same = s == n;                        // warns
    same = 42 == s;                       // warns
    same = s != size;                     // warns
    same = RED != s;                      // warns
    s.concat(n);                          // warns
}

// Characters and texts do not warn.
void texts(String s, const String& other, const char* none) {
    take('\0');
    take(nullptr);
    take({});
    String fromNull(none), fromCharacter('c'), reserved("", 5);
    s = 'c';
    s = nullptr;
    s = 'c' + s + 'c' + "text" + other;
    s.insert(0, 'c').insert(0, "x").insert(0, s).concat("x", 1);
    if (s == 'c') s += '\n';
    s.lastIndexOf(s, s.indexOf('c', s.lastIndexOf('c', s.indexOf("x", 1))));
    if (s != "x" || s == other || nullptr != s || none == s || '\0' != s) s = none;
}

// Every integer type has an overload of stringOf() on every platform.
String digits(const std::vector<int>& v, short s, unsigned char byte, int32_t wide, uint32_t u) {
    return String::stringOf(v.size()) + String::stringOf(wide + 1) + String::stringOf(u) +
           String::stringOf(s) + String::stringOf(byte) + String::stringOf(0);
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
