// SPDX-License-Identifier: MIT
//
// fuzz/config_file.cc compares this with ConfigReader.

#include "config_file.h"

#include <errno.h>
#include <fcntl.h>

#include <algorithm>

#include "status_entry.h"

bool nextPiece(const std::string& file, Piece* piece) {
    const size_t begin = piece->end;
    if (begin >= file.size()) return false;
    if (begin > 0 && file[begin - 1] != '\n') {
        piece->offset += begin - piece->begin;
    } else if (begin > 0) {
        piece->offset = 0;
        ++piece->line;
    }
    const size_t newline = std::min(file.find('\n', begin), file.size() - 1);
    piece->begin = begin;
    piece->end = std::min(newline + 1, begin + PIECE_SIZE);
    const size_t nul = std::min(file.find('\0', begin), piece->end);
    piece->text = file.substr(begin, nul - begin);
    return true;
}

bool isEntry(const Piece& piece) {
    return piece.text[0] != '#' && piece.text.find('=') != std::string::npos;
}

std::string keyOf(const Piece& piece) {
    std::string key = piece.text.substr(0, piece.text.find('='));
    key.erase(std::remove_if(key.begin(), key.end(), isBlank), key.end());
    return key;
}

std::string valueOf(const Piece& piece) {
    return withoutBlankEnds(piece.text.substr(piece.text.find('=') + 1));
}

bool isBlank(char ch) {
    return static_cast<unsigned char>(ch) <= ' ';
}

std::string withoutBlankEnds(const std::string& text) {
    const auto begin = std::find_if_not(text.begin(), text.end(), isBlank);
    auto end = text.end();
    while (end > begin && isBlank(end[-1])) --end;
    return std::string(begin, end);
}

std::map<std::string, std::string> entriesOf(const std::string& file) {
    std::map<std::string, std::string> entries;
    for (Piece piece; nextPiece(file, &piece);)
        if (isEntry(piece)) entries.emplace(keyOf(piece), valueOf(piece));
    return entries;
}

int readFile(const char* path, std::string* content) {
    const Descriptor file(open(path, O_RDONLY | O_CLOEXEC));
    return file.isOpen() ? readAll(file.get(), content) : errno;
}
