# SPDX-License-Identifier: MIT
#
# Shows a public header to Doxygen in Doxygen's own terms. The headers use plain comments:
#
#   - the first comment is about the file,
#   - a comment directly above declarations is about all of them, up to the next empty line or
#     comment; one that is a template, or has its body on lines of its own, stands alone,
#   - a comment with an empty line below it belongs to the next declarations as well,
#   - a comment behind a declaration is about that one.
#
# In comments, lines that are indented by two or more are drawings or code; the rest is text, in
# which no character has a meaning of its own.

function escaped(text) {
    gsub(/[\\@%<>#&]/, "\\\\&", text)
    return text
}

# The comment block under way, in Doxygen's form.
function add_comment(text) {
    if (text ~ /^SPDX-License-Identifier/) return
    if (text == "") { empty_lines = empty_lines "\n"; return }
    if (text !~ /^  /) end_drawing()
    block = block empty_lines
    empty_lines = ""
    if (text ~ /^  / && !drawing) { block = block "@verbatim\n"; drawing = 1 }
    if (drawing) gsub(/"/, "\342\200\263", text)  # see build-reference
    block = block (drawing ? text : escaped(text)) "\n"
}

function end_drawing() {
    if (drawing) block = block "@endverbatim\n"
    drawing = 0
}

function end_group() {
    if (group) print "///@}"
    group = 0
}

# What follows the comment block is known: it is about the file, or kept for what comes.
function end_block() {
    if (block == "") return
    end_drawing()
    empty_lines = ""
    if (!file_done) {
        printf "/** @file\n%s*/\n", block
        file_done = 1
    } else {
        kept = kept (kept != "" ? "\n" : "") block
    }
    block = ""
}

function print_kept() {
    if (kept != "") printf "/**\n%s*/\n", kept
    kept = ""
}

# The comment in the words of the source, without its markers.
function comment_text(line) {
    sub(/^ *(\/\*|\*\/|\*|\/\/) ?/, "", line)
    sub(/ *\*\/ *$/, "", line)
    return line
}

# The definition of an inline member follows its class, where it is declared and documented.
in_definition { in_definition = !/^}/; next }
/^inline .*::/ { block = kept = ""; end_group(); in_definition = 1; next }

# A comment directly above an include is about that, and not for users.
/^#include/ { if (file_done) block = ""; end_block(); print; next }

in_block_comment { add_comment(comment_text($0)); if (/\*\//) in_block_comment = 0; next }
/^ *\/\*/ { end_group(); add_comment(comment_text($0)); in_block_comment = !/\*\//; next }
/^ *\/\// { end_group(); add_comment(comment_text($0)); next }

# Not for users
in_assert || /^static_assert/ { in_assert = !/;/; next }
/= delete;/ { next }

/^#define [A-Z_]+ / {
    end_block()
    print_kept()
    print
    next
}

/^ *$/ || /^#/ || /^ *(public|private):/ || /^extern "C"/ || /^ *}/ {
    end_block()
    end_group()
    print
    next
}

# A destructor is not one more of the constructors; what overrides has its base's documentation.
/^ *(virtual )?~/ || /override;/ { end_block(); end_group() }

{
    end_block()
    if (kept != "") {
        if ($0 !~ /\{$|^ *template </) { print "///@{"; group = 1 }
        print_kept()
    }
    comment = match($0, / *(\/\/|\/\*) /) ? escaped(comment_text(substr($0, RSTART))) : ""
    print comment == "" ? $0 : substr($0, 1, RSTART - 1) " ///< " comment
}
