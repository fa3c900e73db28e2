#include "ops/metrics_text.h"

#include <cmath>
#include <cstdio>

#include "ops/json_reply.h"

namespace {

constexpr unsigned char kDelete = 0x7F;
constexpr unsigned char kC1Lead = 0xC2;  // U+0080 to U+00BF begin with it
constexpr unsigned char kC1End = 0xA0;

std::string Code(unsigned code) {
    char text[sizeof "\\xff"];
    snprintf(text, sizeof text, "\\x%02x", code & 0xFF);
    return text;
}

std::string Escaped(std::string_view value) {
    std::string text;
    for (char c : control_visible_text(value)) {
        if (c == '\\' || c == '"') text += '\\';
        text += c;
    }
    return text;
}

std::string Written(std::initializer_list<CTMetricsText::Label> labels) {
    std::string text;
    for (const auto& [name, value] : labels) {
        if (!text.empty()) text += ',';
        text += std::string(name) + "=\"" + Escaped(value) + '"';
    }
    return text;
}

}  // namespace

std::string control_visible_text(std::string_view text) {
    std::string visible;
    std::string clean = control_clean_text(text);
    for (size_t i = 0; i < clean.size(); ++i) {
        auto c = static_cast<unsigned char>(clean[i]);
        auto next = static_cast<unsigned char>(i + 1 < clean.size() ? clean[i + 1] : 0xFF);
        if (c == kC1Lead && next < kC1End) {
            visible += Code(next);
            ++i;
        } else if (c < ' ' || c == kDelete || c == '\\') {
            visible += Code(c);
        } else {
            visible += clean[i];
        }
    }
    return visible;
}

CTMetricsText::CTMetricsText(std::initializer_list<Label> common) : m_common(Written(common)) {}

void CTMetricsText::Family(std::string_view name, std::string_view type, std::string_view help) {
    m_name = name;
    m_text.append("# HELP ").append(name).append(" ").append(help);
    m_text.append("\n# TYPE ").append(name).append(" ").append(type).append("\n");
}

void CTMetricsText::Count(uint64_t value, std::initializer_list<Label> labels) {
    Sample(labels, std::to_string(value));
}

void CTMetricsText::Value(double value, std::initializer_list<Label> labels) {
    if (!std::isfinite(value)) return;
    char text[64];
    snprintf(text, sizeof text, "%.9g", value);
    Sample(labels, text);
}

void CTMetricsText::Sample(std::initializer_list<Label> labels, const std::string& value) {
    std::string own = Written(labels);
    std::string all = m_common + (m_common.empty() || own.empty() ? "" : ",") + own;
    m_text += m_name + (all.empty() ? "" : "{" + all + "}") + " " + value + "\n";
}
