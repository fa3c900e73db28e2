#include "ctl/terminal_text.h"

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <cwctype>

namespace {

// The character at the start of the text, and its bytes; no bytes when there is none.
size_t Next(std::string_view text, wchar_t& c) {
    mbstate_t state = {};
    size_t length = mbrtowc(&c, text.data(), text.size(), &state);
    return length > text.size() ? 0 : length;
}

bool IsVisible(wchar_t c) {
    return iswprint(static_cast<wint_t>(c)) != 0 && wcwidth(c) > 0;
}

}  // namespace

std::string ctl_terminal_text(std::string_view text, bool keep_lines) {
    std::string shown;
    while (!text.empty()) {
        wchar_t c = 0;
        size_t length = Next(text, c);
        bool as_it_is = (length > 0 && IsVisible(c)) || (keep_lines && text.front() == '\n');
        length = std::max<size_t>(length, 1);
        if (as_it_is) {
            shown += text.substr(0, length);
        } else {
            for (char byte : text.substr(0, length)) {
                char code[sizeof "\\xff"];
                snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(byte));
                shown += code;
            }
        }
        text.remove_prefix(length);
    }
    return shown;
}

size_t ctl_width(std::string_view terminal_text) {
    size_t width = 0;
    while (!terminal_text.empty()) {
        wchar_t c = 0;
        size_t length = Next(terminal_text, c);
        width += static_cast<size_t>(std::max(length > 0 ? wcwidth(c) : 1, 0));
        terminal_text.remove_prefix(std::max<size_t>(length, 1));
    }
    return width;
}
