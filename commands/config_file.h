// SPDX-License-Identifier: MIT
//
// A configuration file cut into pieces as ConfigReader cuts it, including those that it skips.

#ifndef VELUTILS_COMMANDS_CONFIG_FILE_H
#define VELUTILS_COMMANDS_CONFIG_FILE_H

#include <map>
#include <string>

// The reader takes at most this many bytes at once, and treats a longer line as several.
const size_t PIECE_SIZE = 1022;

// What the reader takes at once: everything up to a newline, but no more than PIECE_SIZE bytes.
struct Piece {
    size_t begin = 0;   // in the file
    size_t end = 0;     // after the newline, if it has one
    size_t line = 1;    // as an editor counts
    size_t offset = 0;  // in the line: not 0 for the rest of a long line
    std::string text;   // up to the first NUL
};

// Moves on to the next piece; from Piece(), to the first. False at the end of the file.
bool nextPiece(const std::string& file, Piece* piece);

// Whether the piece is an entry: it has a "=" and is not a comment.
bool isEntry(const Piece& piece);
std::string keyOf(const Piece& piece);    // REQUIRES: it is an entry
std::string valueOf(const Piece& piece);  // REQUIRES: it is an entry

// Whether the reader removes the byte from keys and from the ends of values.
bool isBlank(char ch);
std::string withoutBlankEnds(const std::string& text);

// The entries. If a key occurs again, its first value is returned.
std::map<std::string, std::string> entriesOf(const std::string& file);

// Reads a whole file. Returns 0 or an error number.
int readFile(const char* path, std::string* content);

#endif
