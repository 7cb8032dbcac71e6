// SPDX-License-Identifier: MIT
//
// Uses a String, or a std::string if built without the library, and exits.

#ifdef WITHOUT_LIBRARY
#include <string>
typedef std::string Text;
#else
#include <velutils++/text.h>
typedef String Text;
#endif

int main(int argc, char**) {
    Text text("small");
    text += " program";
    return text[0] == 's' && argc > 0 ? 0 : 1;
}
