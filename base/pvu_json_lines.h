#pragma once

#include <cjson/cJSON.h>

#include <string_view>
#include <unordered_map>

// The line of a place in a text, from 1.
int pvu_line_of(std::string_view text, const char* place);

// Tells in which line of a JSON text each node of its tree stands, which cJSON does not. One
// thread.
class CTJsonLines {
  public:
    CTJsonLines() = default;
    // The text must be the one that the tree was parsed from; nothing of it is kept.
    CTJsonLines(const cJSON* root, std::string_view text);

    // The line of a member's key, or of a value that has none; 0 for a node of another tree.
    int Of(const cJSON* node) const;

  private:
    std::unordered_map<const cJSON*, int> m_lines;
};
