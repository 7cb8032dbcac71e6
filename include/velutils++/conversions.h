/* SPDX-License-Identifier: MIT
 *
 * Integers to text and back; hex dumps, dates, times, telephone numbers and IPv4 addresses in text.
 *
 * Plain functions, usable from C. They allocate nothing, keep no state, log nothing and may be
 * called from any thread. Every buffer is the caller's.
 */
#ifndef VELUTILS_CONVERSIONS_H
#define VELUTILS_CONVERSIONS_H

#include <stdint.h>

#include <velutils++/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Integers in text
 *
 *     [-] digits [base letter]       42   -42   101b   17o   FFh
 *
 * A letter behind the digits names the base: b is 2, o is 8, h is 16, none is 10. There is no
 * prefix, no plus sign and no blank.
 *
 * Converters write the canonical text, with capital A to F, and its NUL: at most 34 bytes. They
 * return buffer; or null, with nothing written, when buffer is null, the base is not 2, 8, 10 or
 * 16, or a negative value is asked for in another base than 10. */
VELUTILS_API char* i32toa(int32_t value, char* buffer, int base);
VELUTILS_API char* u_i32toa(uint32_t value, char* buffer, int base);
VELUTILS_API char* i16toa(int16_t value, char* buffer, int base);
VELUTILS_API char* u_i16toa(uint16_t value, char* buffer, int base);

/* Plain parsers trust the text. They see its first 33 characters only and return what is left of
 * the sum modulo 2^32, or 2^16. A last character above the backquote (byte 0x60) is the base
 * letter: b, o, h or x; every other one means 10. Digits a to f may be small or capital; any other
 * character counts as its code, 0 to 255, minus that of '0'. The unsigned parsers know no minus
 * sign: it is such a character. A null or empty text gives 0, and so does one that
 * holds no more than its sign and base letter. */
VELUTILS_API int32_t valueOf32(const char* text);
VELUTILS_API uint32_t u_valueOf32(const char* text);
VELUTILS_API int16_t valueOf16(const char* text);
VELUTILS_API uint16_t u_valueOf16(const char* text);

/* Validating parsers accept exactly what the converter of their type writes in base 10: no leading
 * zero, no base letter, no minus zero, nothing out of range. *error becomes 0 for such a text and
 * -1 for any other, null included; error may be null. The result is the plain parser's in either
 * case. */
VELUTILS_API int32_t validValueOf32(int32_t* error, const char* text);
VELUTILS_API uint32_t u_validValueOf32(int32_t* error, const char* text);
VELUTILS_API int16_t validValueOf16(int32_t* error, const char* text);
VELUTILS_API uint16_t u_validValueOf16(int32_t* error, const char* text);

/* The same, and *error becomes -1 too for a value below minimum or above maximum. With a null
 * error the text is not looked at and the result is 0. */
VELUTILS_API int32_t validRangeValueOf32(int32_t* error, const char* text, int32_t minimum,
                                         int32_t maximum);
VELUTILS_API uint32_t u_validRangeValueOf32(int32_t* error, const char* text, uint32_t minimum,
                                            uint32_t maximum);
VELUTILS_API int16_t validRangeValueOf16(int32_t* error, const char* text, int16_t minimum,
                                         int16_t maximum);
VELUTILS_API uint16_t u_validRangeValueOf16(int32_t* error, const char* text, uint16_t minimum,
                                            uint16_t maximum);

/* Reverses the characters of text in place. Null does nothing. */
VELUTILS_API void reverse(char* text);

/* Hex dumps
 *
 * Entry i holds the two lowercase hexadecimal digits of i and a NUL. */
extern VELUTILS_API const char binToHexLut[256][3];

/* Writes 0x, the four bytes of word in the order in which they lie in memory, and a NUL: 11 bytes.
 * On a little-endian processor 0x12345678 becomes 0x78563412. */
VELUTILS_API void convBinToHex(uint32_t word, char* out);

/* Dumps length bytes in their stored order, word by word, with a newline behind the word that
 * completes lineLength bytes and one more at the end:
 *
 *     0x01020304 0x05060708 \n0x090a0b0c \n\0       length 12, lineLength 8
 *
 * The last word is dumped whole: data holds length bytes rounded up to a multiple of 4. It may lie
 * at any address. */
VELUTILS_API void dataChunk2String(const void* data, char* out, int length, int lineLength);

/* How many bytes that dump needs, NUL included, for a lineLength that is a positive multiple of 4;
 * with other ones a dump may need more. 0 for a lineLength of 0 or less, and when an int cannot
 * hold the number. */
VELUTILS_API int nbrOfChars_forDataChunk2String(int length, int lineLength);

/* The smallest power of two that is at least value, so 1 for 0; 0 for a value above 2^31. */
VELUTILS_API uint32_t nextHigherPowerOf2(uint32_t value);

/* Checks: 0 for a valid text; -1 for any other, null included. */

/* Digits, A to Z, '?', '#' and '*', or nothing at all. */
VELUTILS_API int e164Number(const char* text);

/* year-month-dayThour:minute:second, hour:minute:second, year-month-day. The year is 1999 to 2035,
 * the month 1 to 12, the day 1 to 31 in any month, the hour at most 23, minute and second at most
 * 59. Numbers are read as by sscanf(3) "%d": blanks before one are skipped, it may have a sign (a
 * negative time passes) and any number of digits. Text behind the last one is ignored. */
VELUTILS_API int validateTimeString(const char* text);
VELUTILS_API int validateTime(const char* text);
VELUTILS_API int validateDate(const char* text);

/* IPv4 words: bits 31 to 24 hold the first octet, so 192.168.1.1 is 0xC0A80101. */

/* Reads as sscanf(3) "%lu.%lu.%lu.%lu" does and adds the numbers up modulo 2^32: one above 255
 * spills into its neighbour. Text behind the fourth is ignored. 0; or -1, with *out as it was, for
 * fewer than four numbers. */
VELUTILS_API int convIPStr2IPUl(const char* text, unsigned long* out);

/* Writes the low 32 bits of value as a dotted address, at most 16 bytes. Always 0. */
VELUTILS_API int convIPUL2IPStr(unsigned long value, char* out);

#ifdef __cplusplus
}  // extern "C"
#endif

#endif
