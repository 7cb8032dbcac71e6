// SPDX-License-Identifier: MIT

#include "pieces.h"

#include <stdio.h>

void append(std::string* text, Pieces pieces) {
    for (const std::string_view& piece : pieces) text->append(piece.data(), piece.size());
}

std::string joined(Pieces pieces) {
    std::string text;
    append(&text, pieces);
    return text;
}

std::string numberOf(unsigned long long number) {
    char text[24];
    snprintf(text, sizeof text, "%llu", number);
    return text;
}
