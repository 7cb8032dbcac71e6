/* SPDX-License-Identifier: MIT
 *
 * Integers to text and back; hex dumps, dates, times, telephone numbers and IPv4 addresses in text.
 *
 * Plain functions, usable from C. They allocate nothing, keep no state and log nothing. Any thread
 * may call them. The caller provides every buffer, and its size is not checked.
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
 * A letter after the digits names the base: b is 2, o is 8, h is 16, and none is 10. There is no
 * prefix, no plus sign and no blank. */

/* Writes the value in this form, with capital A to F, and a NUL: at most 34 bytes. Returns buffer.
 * Returns null and writes nothing if buffer is null, if the base is not 2, 8, 10 or 16, or if the
 * value is negative and the base is not 10. */
VELUTILS_API char* i32toa(int32_t value, char* buffer, int base);
VELUTILS_API char* u_i32toa(uint32_t value, char* buffer, int base);
VELUTILS_API char* i16toa(int16_t value, char* buffer, int base);
VELUTILS_API char* u_i16toa(uint16_t value, char* buffer, int base);

/* Plain parser: trusts the text, never fails, and computes modulo 2^32 (2^16 for the 16-bit ones).
 *
 * It reads at most 33 characters. If the last of them is above the backquote (byte 0x60), it is the
 * base letter: b is 2, o is 8, h and x are 16, every other one is 10. Every character before it
 * counts as a digit. The value of a digit is its byte, 0 to 255, minus 48, the code of '0'. In base
 * 16 it is the byte minus 87 above the backquote ('a' is 10, 'g' is 16), and minus 55 from 'A' to
 * the backquote ('A' is 10, 'G' is 16).
 *
 * Only the signed parsers read a minus sign as a sign. The unsigned ones read it as a digit.
 * The result is 0 for a null or empty text, and if nothing is left without sign and base letter. */
VELUTILS_API int32_t valueOf32(const char* text);
VELUTILS_API uint32_t u_valueOf32(const char* text);
VELUTILS_API int16_t valueOf16(const char* text);
VELUTILS_API uint16_t u_valueOf16(const char* text);

/* Validating parser: accepts exactly what the converter of its type writes in base 10. A leading
 * zero, a base letter, "-0" and a value out of range are errors. Sets *error to 0 for a valid text
 * and to -1 for any other, null included. error may be null. The result is the plain parser's in
 * either case. */
VELUTILS_API int32_t validValueOf32(int32_t* error, const char* text);
VELUTILS_API uint32_t u_validValueOf32(int32_t* error, const char* text);
VELUTILS_API int16_t validValueOf16(int32_t* error, const char* text);
VELUTILS_API uint16_t u_validValueOf16(int32_t* error, const char* text);

/* Validating parser with a range: as the one without, but a value below minimum or above maximum is
 * an error, too. If error is null, the text is not read and the result is 0. */
VELUTILS_API int32_t validRangeValueOf32(int32_t* error, const char* text, int32_t minimum,
                                         int32_t maximum);
VELUTILS_API uint32_t u_validRangeValueOf32(int32_t* error, const char* text, uint32_t minimum,
                                            uint32_t maximum);
VELUTILS_API int16_t validRangeValueOf16(int32_t* error, const char* text, int16_t minimum,
                                         int16_t maximum);
VELUTILS_API uint16_t u_validRangeValueOf16(int32_t* error, const char* text, uint16_t minimum,
                                            uint16_t maximum);

/* Reverses the characters of text in place. Does nothing if text is null. */
VELUTILS_API void reverse(char* text);

/* Hex dumps
 *
 * Entry i of binToHexLut holds the two lowercase hexadecimal digits of i and a NUL. */
extern VELUTILS_API const char binToHexLut[256][3];

/* Writes "0x", the four bytes of word in their order in memory, and a NUL: 11 bytes. 0x12345678
 * becomes "0x78563412" on a little-endian processor, such as the router's, and "0x12345678" on a
 * big-endian one. */
VELUTILS_API void convBinToHex(uint32_t word, char* out);

/* Dumps length bytes in their stored order, in words of 4. A newline follows each word that
 * completes lineLength bytes, and one more ends the dump:
 *
 *     0x01020304 0x05060708 \n0x090a0b0c \n\0       length 12, lineLength 8
 *
 * The last word is dumped whole, so data must hold length bytes rounded up to a multiple of 4. It
 * may have any alignment. */
VELUTILS_API void dataChunk2String(const void* data, char* out, int length, int lineLength);

/* Returns how many bytes dataChunk2String() writes at most, NUL included, if lineLength is a
 * positive multiple of 4. For other values a dump may need more. Returns 0 if lineLength is 0 or
 * less, or if the number does not fit in an int. */
VELUTILS_API int nbrOfChars_forDataChunk2String(int length, int lineLength);

/* Returns the smallest power of two that is at least value: 1 for 0, and 0 for a value above
 * 2^31. */
VELUTILS_API uint32_t nextHigherPowerOf2(uint32_t value);

/* Checks a telephone number: digits, A to Z, '?', '#' and '*'. The empty text is valid. Returns 0
 * for a valid text and -1 for any other, null included. */
VELUTILS_API int e164Number(const char* text);

/* Dates and times
 *
 * The year is 1999 to 2035, the month 1 to 12, the day 1 to 31 in any month, the hour at most 23,
 * minute and second at most 59. Numbers are read as by sscanf(3) "%d": blanks before a number are
 * skipped, it may have a sign (a negative hour, minute or second is valid), and it may have any
 * number of digits. Text after the last number is ignored. Returns 0 for a valid text and -1 for
 * any other, null included. */
VELUTILS_API int validateTimeString(const char* text); /* year-month-dayThour:minute:second */
VELUTILS_API int validateTime(const char* text);       /* hour:minute:second */
VELUTILS_API int validateDate(const char* text);       /* year-month-day */

/* Reads a dotted IPv4 address. Bits 31 to 24 of *out become the first octet: 192.168.1.1 is
 * 0xC0A80101. The numbers are read as by sscanf(3) "%lu.%lu.%lu.%lu" and added up modulo 2^32, so a
 * number above 255 changes its neighbour: 1.2.3.256 is 0x01020400. Text after the fourth number is
 * ignored. Returns 0. For fewer than four numbers it returns -1 and leaves *out alone. */
VELUTILS_API int convIPStr2IPUl(const char* text, unsigned long* out);

/* Writes the low 32 bits of value as a dotted address and a NUL, at most 16 bytes. Returns 0. */
VELUTILS_API int convIPUL2IPStr(unsigned long value, char* out);

#ifdef __cplusplus
}  // extern "C"
#endif

#endif
