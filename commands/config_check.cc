// SPDX-License-Identifier: MIT

#include "config_check.h"

#include <algorithm>

#include "escape.h"
#include "pieces.h"

namespace {

std::string quoted(const std::string& text) {
    return joined({"\"", escaped(text), "\""});
}

bool isComment(const Piece& piece) {
    return piece.text[0] == '#';
}

bool isBlankPiece(const Piece& piece) {
    return std::all_of(piece.text.begin(), piece.text.end(), isBlank);
}

// Whether blanks and then "#" begin the text.
bool looksLikeComment(const Piece& piece) {
    const size_t first = static_cast<size_t>(
        std::find_if_not(piece.text.begin(), piece.text.end(), isBlank) - piece.text.begin());
    return first > 0 && first < piece.text.size() && piece.text[first] == '#';
}

// Whether the value is "#", or begins with "#" and a blank. A color such as #ff0000 is a value.
bool isCommentOnly(const std::string& value) {
    return value[0] == '#' && (value.size() == 1 || isBlank(value[1]));
}

// Whether a "#" follows a blank, and something precedes both.
bool holdsComment(const std::string& value) {
    for (size_t i = 1; i < value.size(); ++i)
        if (value[i] == '#' && isBlank(value[i - 1])) return true;
    return false;
}

bool startsWith(const std::string& text, const char* prefix) {
    return text.compare(0, std::string::traits_type::length(prefix), prefix) == 0;
}

class Check {
  public:
    explicit Check(const std::string& file) : file_(file) {}

    std::list<Finding> run() {
        if (startsWith(file_, "\xEF\xBB\xBF") || startsWith(file_, "\xFE\xFF") ||
            startsWith(file_, "\xFF\xFE"))
            add(1, {"byte order mark: it becomes part of the first key"});
        for (Piece piece; nextPiece(file_, &piece);) examine(piece);
        return findings_;
    }

  private:
    void examine(const Piece& piece) {
        // A newline alone ends a line of exactly one piece.
        if (piece.offset > 0 && file_[piece.begin] != '\n')
            add(piece.line, {"longer than 1022 bytes: cut after byte ", numberOf(piece.offset),
                             ", and the rest ", fate(piece)});
        checkEnd(piece);
        if (piece.text.size() < piece.end - piece.begin)
            add(piece.line, {"NUL: what follows it is not read"});
        if (!isComment(piece)) checkText(piece);
    }

    static std::string fate(const Piece& piece) {
        if (isEntry(piece)) return joined({"becomes the entry ", quoted(keyOf(piece))});
        if (isComment(piece)) return "becomes a comment";
        return isBlankPiece(piece) ? "is blank" : "is skipped";
    }

    void checkEnd(const Piece& piece) {
        const bool isCrLf = piece.end >= 2 && file_.compare(piece.end - 2, 2, "\r\n") == 0;
        if (isCrLf && !hasCrLf_) add(piece.line, {"the line ends with CR LF"});
        hasCrLf_ = hasCrLf_ || isCrLf;
    }

    void checkText(const Piece& piece) {
        if (looksLikeComment(piece))
            add(piece.line, {"\"#\" after blanks does not begin a comment"});
        else if (!isEntry(piece) && !isBlankPiece(piece))
            add(piece.line, {"no \"=\": the line is skipped"});
        if (isEntry(piece)) checkEntry(piece);
    }

    void checkEntry(const Piece& piece) {
        const std::string key = keyOf(piece);
        const std::string written = withoutBlankEnds(piece.text.substr(0, piece.text.find('=')));
        if (key.empty()) add(piece.line, {"empty key"});
        if (written != key)
            add(piece.line,
                {"blanks inside a key vanish: ", quoted(written), " is read as ", quoted(key)});
        if (isCommentOnly(valueOf(piece)))
            add(piece.line, {"\"#\" in place of a value is the value: ", quoted(valueOf(piece))});
        else if (holdsComment(valueOf(piece)))
            add(piece.line, {"\" #\" after a value is part of it: ", quoted(valueOf(piece))});
        const auto first = lines_.emplace(key, numberOf(piece.line));
        if (!first.second)
            add(piece.line, {"key ", quoted(key), " was already given on line ",
                             first.first->second, ", which counts"});
    }

    void add(size_t line, Pieces message) { findings_.push_back({line, joined(message)}); }

    const std::string& file_;
    std::list<Finding> findings_;
    std::map<std::string, std::string> lines_;  // where each key was first given
    bool hasCrLf_ = false;
};

}  // namespace

std::list<Finding> findingsIn(const std::string& file) {
    return Check(file).run();
}
