#pragma once

#include <string>
#include <string_view>

// Texts from elsewhere, as they may stand on a terminal: what is no visible character of the
// locale's encoding (control characters, what turns the direction of writing, bytes that are no
// character) becomes \xff, byte by byte. Lines stay lines where that is asked for.
std::string ctl_terminal_text(std::string_view text, bool keep_lines = false);
// How many columns it takes there. Precondition: it went through the above.
size_t ctl_width(std::string_view terminal_text);
