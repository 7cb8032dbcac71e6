// SPDX-License-Identifier: MIT
//
// A configuration file as ConfigReader takes it, with what it passes over.

#ifndef VELUTILS_COMMANDS_CONFIG_FILE_H
#define VELUTILS_COMMANDS_CONFIG_FILE_H

#include <map>
#include <string>

// The most bytes that the reader takes at once. A longer line is several pieces to it.
const size_t PIECE_SIZE = 1022;

// What the reader takes at once: up to a newline, or PIECE_SIZE bytes.
struct Piece {
    size_t begin = 0;   // in the file
    size_t end = 0;     // after the newline, if it has one
    size_t line = 1;    // as an editor counts
    size_t offset = 0;  // in the line: not 0 where the piece before left off
    std::string text;   // up to the first NUL
};

// Takes the piece that begins where `piece` ends; the first one for Piece(). False at the end.
bool nextPiece(const std::string& file, Piece* piece);

// Whether the piece is an entry: not a comment, and with a "=".
bool isEntry(const Piece& piece);
std::string keyOf(const Piece& piece);    // REQUIRES: it is an entry
std::string valueOf(const Piece& piece);  // REQUIRES: it is an entry

// Bytes that are no part of keys, and not at the ends of values.
bool isBlank(char ch);
std::string withoutBlankEnds(const std::string& text);

// The entries. Of several with one key the first counts.
std::map<std::string, std::string> entriesOf(const std::string& file);

// Reads a whole file. 0 or an error number.
int readFile(const char* path, std::string* content);

#endif
