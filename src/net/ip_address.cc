// SPDX-License-Identifier: MIT
//
// IpAddress as a value: parsing, printing, words, masks and prefix lengths.
//
// The readers walk a NUL-terminated text. No reader accepts a NUL, so each stops there. A setter
// finds the end of the text by its length, because a text may have NULs inside, and stores nothing
// until it has read everything. The public piecewise readers call the same readers at a position.
//
// Tested by ip_address_test.cc.

#include <velutils++/ip_address.h>

#include <string.h>

#include <new>

#include "../text/whole_text_internal.h"

namespace {

const uint32_t NO_FAMILY = 0;
const uint32_t IPV4 = 1;
const uint32_t ALL_ONES = 0xFFFFFFFFu;

const int OCTET_DIGITS = 3;
const uint32_t OCTET_LIMIT = 256;
const int PREFIX_DIGITS = 2;
const uint32_t PREFIX_LIMIT = 33;

uint32_t leadingOnes(uint32_t word) {
    return word == ALL_ONES ? 32 : static_cast<uint32_t>(__builtin_clz(~word));
}

uint32_t prefixMask(uint32_t size) {
    return size == 0 ? 0 : ALL_ONES << (32 - size);
}

bool isContiguous(uint32_t mask) {
    return mask == prefixMask(leadingOnes(mask));
}

// A number with a leading zero ends after that zero: 01 is a 0 and a character that no caller
// accepts.
bool readNumber(const char*& p, int maxDigits, uint32_t& value) {
    value = 0;
    if (*p == '0') {
        ++p;
        return true;
    }
    const char* const start = p;
    const char* const end = p + maxDigits;
    for (; p != end; ++p) {
        const uint32_t digit = static_cast<uint32_t>(*p) - '0';
        if (digit > 9) break;
        value = value * 10 + digit;
    }
    return p != start;
}

bool readQuad(const char*& p, uint32_t& word) {
    word = 0;
    for (int i = 0; i < 4; ++i) {
        uint32_t octet;
        if (i > 0 && *p++ != '.') return false;
        if (!readNumber(p, OCTET_DIGITS, octet) || octet >= OCTET_LIMIT) return false;
        word = word << 8 | octet;
    }
    return true;
}

bool readPrefix(const char*& p, uint32_t& size) {
    return *p++ == '/' && readNumber(p, PREFIX_DIGITS, size) && size < PREFIX_LIMIT;
}

bool readNumberAt(const String& text, long& pos, int maxDigits, uint32_t limit,
                  unsigned long& value) {
    value = 0;
    if (pos < 0 || pos >= text.length()) return false;
    const char* const start = text.buffer() + pos;
    const char* p = start;
    uint32_t number;
    const bool found = readNumber(p, maxDigits, number);
    pos += p - start;
    value = number;
    return found && number < limit;
}

char* printOctet(char* p, uint32_t octet) {
    if (octet >= 100) *p++ = static_cast<char>('0' + octet / 100);
    if (octet >= 10) *p++ = static_cast<char>('0' + octet / 10 % 10);
    *p++ = static_cast<char>('0' + octet % 10);
    return p;
}

// Writing the digits here is several times faster than calling a formatter.
String& printQuad(uint32_t word, String& out) {
    char text[sizeof "255.255.255.255"];
    char* p = text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        p = printOctet(p, word >> shift & 255);
        *p++ = shift > 0 ? '.' : '\0';
    }
    // When out of memory, an empty text is better than the old address.
    if (!assignAll(out, text)) out = String::EMPTY();
    return out;
}

}  // namespace

// Construction, copying, comparison

const IpAddress& IpAddress::EMPTY() {
    // In static storage without a destructor, so that it can be used until the process ends.
    alignas(IpAddress) static char storage[sizeof(IpAddress)];
    static const IpAddress* const empty = ::new (static_cast<void*>(storage)) IpAddress();
    return *empty;
}

IpAddress::IpAddress() {
    init();
}

IpAddress::IpAddress(unsigned long addressWord, unsigned long maskWord) {
    init();
    if (setV4NetMaskAsBinaryUInt32(maskWord) == 0) setV4IpAddrAsBinaryUInt32(addressWord);
}

IpAddress::IpAddress(const String& text) {
    init();
    setIpAddrAsString(text);
}

IpAddress::IpAddress(const String& addressText, const String& maskText) {
    init();
    if (setIpAddrAsString(addressText) != 0 || setNetMaskAsString(maskText) != 0) init();
}

IpAddress::IpAddress(const IpAddress& other) = default;
IpAddress& IpAddress::operator=(const IpAddress& other) = default;
IpAddress::~IpAddress() = default;

void IpAddress::init() {
    family = NO_FAMILY;
    memset(address, 0, sizeof address);
    memset(mask, 0xFF, sizeof mask);
}

bool IpAddress::isEmpty() const {
    return *this == IpAddress();
}

bool operator==(const IpAddress& a, const IpAddress& b) {
    return a.family == b.family && memcmp(a.address, b.address, sizeof a.address) == 0 &&
           memcmp(a.mask, b.mask, sizeof a.mask) == 0;
}

bool operator!=(const IpAddress& a, const IpAddress& b) {
    return !(a == b);
}

bool IpAddress::isV4() const {
    return family == IPV4;
}

void IpAddress::store(uint32_t addressWord, uint32_t maskWord) {
    family = IPV4;
    address[0] = addressWord;
    mask[0] = maskWord;
}

// Text

int IpAddress::setIpAddrAsString(const String& text) {
    const char* p = text.buffer();
    const char* const end = p + text.length();
    uint32_t word;
    uint32_t size;
    if (!readQuad(p, word)) return -1;
    if (p == end) {
        store(word, mask[0]);
        return 0;
    }
    if (!readPrefix(p, size) || p != end) return -1;
    store(word, prefixMask(size));
    return 0;
}

int IpAddress::setNetMaskAsString(const String& text) {
    const char* p = text.buffer();
    const char* const end = p + text.length();
    uint32_t word;
    if (!readQuad(p, word) || p != end) return -1;
    return setV4NetMaskAsBinaryUInt32(word);
}

String& IpAddress::getIpAddrAsString(String& out) const {
    if (!isV4()) return out = String::EMPTY();
    return printQuad(address[0], out);
}

String& IpAddress::getNetMaskAsString(String& out) const {
    if (!isV4()) return out = String::EMPTY();
    return printQuad(mask[0], out);
}

String& IpAddress::getNetAddressAsString(String& out) const {
    if (!isV4()) return out = String::EMPTY();
    return printQuad(address[0] & mask[0], out);
}

bool IpAddress::s_getV4IpAddrTokenOfString(const String& text, long& pos, unsigned long& value) {
    return readNumberAt(text, pos, OCTET_DIGITS, OCTET_LIMIT, value);
}

bool IpAddress::s_getV4NetMaskSizeOfString(const String& text, long& pos, unsigned long& value) {
    return readNumberAt(text, pos, PREFIX_DIGITS, PREFIX_LIMIT, value);
}

bool IpAddress::s_getCharOfString(const String& text, long& pos, char c) {
    if (text[pos] != c) return false;
    ++pos;
    return true;
}

bool IpAddress::s_getEndOfString(const String& text, long pos) {
    return pos >= text.length();
}

// Words

unsigned long& IpAddress::getV4IpAddrAsBinaryUInt32(unsigned long& out) const {
    return out = address[0];
}

unsigned long IpAddress::getV4IpAddrAsBinaryUInt32() const {
    return address[0];
}

int IpAddress::setV4IpAddrAsBinaryUInt32(unsigned long word) {
    store(static_cast<uint32_t>(word), mask[0]);
    return 0;
}

unsigned long& IpAddress::getV4NetAddrAsBinaryUInt32(unsigned long& out) const {
    return out = getV4NetAddrAsBinaryUInt32();
}

unsigned long IpAddress::getV4NetAddrAsBinaryUInt32() const {
    return address[0] & mask[0];
}

unsigned long& IpAddress::getV4NetMaskAsBinaryUInt32(unsigned long& out) const {
    return out = mask[0];
}

unsigned long IpAddress::getV4NetMaskAsBinaryUInt32() const {
    return mask[0];
}

int IpAddress::setV4NetMaskAsBinaryUInt32(unsigned long word) {
    if (!isContiguous(static_cast<uint32_t>(word))) return -1;
    store(address[0], static_cast<uint32_t>(word));
    return 0;
}

unsigned char* IpAddress::getV6IpAddrAsBinaryString(unsigned char* out) const {
    return out;
}

unsigned char* IpAddress::getV6NetAddrAsBinaryString(unsigned char* out) const {
    return out;
}

unsigned char* IpAddress::getV6NetMaskAsBinaryString(unsigned char* out) const {
    return out;
}

int IpAddress::setV6IpAddrAsBinaryString(const unsigned char*) {
    return -1;
}

int IpAddress::setV6NetMaskAsBinaryString(const unsigned char*) {
    return -1;
}

// Masks and prefix lengths

unsigned long& IpAddress::getNetMaskSize(unsigned long& size) const {
    return size = getNetMaskSize();
}

unsigned long IpAddress::getNetMaskSize() const {
    return isV4() ? leadingOnes(mask[0]) : 0;
}

int IpAddress::setNetMaskSize(unsigned long size) {
    if (!isV4() || size >= PREFIX_LIMIT) return -1;
    mask[0] = prefixMask(static_cast<uint32_t>(size));
    return 0;
}

bool IpAddress::isMaskValid(unsigned long& size) const {
    return isV4() && s_isV4MaskValid(mask[0], size);
}

bool IpAddress::s_isV4MaskValid(unsigned long maskWord, unsigned long& size) {
    const uint32_t word = static_cast<uint32_t>(maskWord);
    size = leadingOnes(word);
    return isContiguous(word);
}

bool IpAddress::s_isV6MaskValid(const char*, const unsigned long&) {
    return false;
}
