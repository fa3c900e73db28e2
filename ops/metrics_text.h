#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The text format of Prometheus (exposition format 0.0.4): families, each with its samples.
// One thread.
class CTMetricsText {
  public:
    using Label = std::pair<std::string_view, std::string_view>;

    // Labels that every sample has, in front of its own.
    explicit CTMetricsText(std::initializer_list<Label> common = {});

    // What follows belongs to this family, of the type "counter" or "gauge".
    void Family(std::string_view name, std::string_view type, std::string_view help);
    void Count(uint64_t value, std::initializer_list<Label> labels = {});
    // A value that is not finite is left out.
    void Value(double value, std::initializer_list<Label> labels = {});

    const std::string& Text() const { return m_text; }

  private:
    void Sample(std::initializer_list<Label> labels, const std::string& value);

    std::string m_common;
    std::string m_name;
    std::string m_text;
};

// A text as it may stand on a terminal and in a file: valid UTF-8 with the control characters,
// which a terminal would obey, as \x1b; so is the backslash in front of them, as \x5c.
std::string control_visible_text(std::string_view text);
