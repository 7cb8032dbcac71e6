// SPDX-License-Identifier: MIT
//
// Text made of several pieces. A list takes half the code of a chain of "+".

#ifndef VELUTILS_COMMANDS_PIECES_H
#define VELUTILS_COMMANDS_PIECES_H

#include <initializer_list>
#include <string>
#include <string_view>

typedef std::initializer_list<std::string_view> Pieces;

void append(std::string* text, Pieces pieces);
std::string joined(Pieces pieces);

// The number in decimal.
std::string numberOf(unsigned long long number);

#endif
