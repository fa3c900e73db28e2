#include "ctl/table.h"

#include <algorithm>

#include "ctl/terminal_text.h"

namespace {

constexpr char kIndent[] = "  ";
constexpr char kGap[] = "  ";

const char* EscapeOf(CtlStyle style) {
    switch (style) {
        case CtlStyle::kHead:
            return "\x1b[1m";
        case CtlStyle::kGood:
            return "\x1b[32m";
        case CtlStyle::kDoubtful:
            return "\x1b[33m";
        case CtlStyle::kBad:
            return "\x1b[31m";
        case CtlStyle::kFaint:
            return "\x1b[2m";
        case CtlStyle::kPlain:
            break;
    }
    return "";
}

}  // namespace

std::string ctl_styled(std::string_view text, CtlStyle style, bool colour) {
    std::string plain(text);
    if (!colour || style == CtlStyle::kPlain || plain.empty()) return plain;
    return EscapeOf(style) + plain + "\x1b[0m";
}

void CtlTable::Column(std::string_view head, Align align) {
    m_heads.push_back({ctl_terminal_text(head), CtlStyle::kHead});
    m_aligns.push_back(align);
}

void CtlTable::Row() {
    m_rows.emplace_back();
}

void CtlTable::Cell(std::string_view text, CtlStyle style) {
    m_rows.back().push_back({ctl_terminal_text(text), style});
}

std::string CtlTable::Text() const {
    std::vector<size_t> widths(m_heads.size());
    auto widen = [&](const std::vector<Entry>& cells) {
        for (size_t i = 0; i < std::min(cells.size(), widths.size()); ++i)
            widths[i] = std::max(widths[i], ctl_width(cells[i].text));
    };
    widen(m_heads);
    std::for_each(m_rows.begin(), m_rows.end(), widen);
    bool has_heads = std::any_of(m_heads.begin(), m_heads.end(),
                                 [](const Entry& head) { return !head.text.empty(); });
    std::string text = has_heads ? Line(m_heads, widths) : "";
    for (const std::vector<Entry>& row : m_rows)
        text += Line(row, widths);
    return text;
}

std::string CtlTable::Line(const std::vector<Entry>& cells,
                           const std::vector<size_t>& widths) const {
    std::string line = kIndent;
    size_t pending = 0;  // blanks that are due before the next visible cell
    for (size_t i = 0; i < std::min(cells.size(), widths.size()); ++i) {
        const Entry& cell = cells[i];
        size_t blanks = widths[i] - ctl_width(cell.text);
        if (m_aligns[i] == Align::kRight) pending += blanks;
        if (!cell.text.empty()) {
            line += std::string(pending, ' ') + ctl_styled(cell.text, cell.style, m_colour);
            pending = 0;
        }
        if (m_aligns[i] == Align::kLeft) pending += blanks;
        pending += sizeof kGap - 1;
    }
    return line + "\n";
}
