#pragma once

#include <string>
#include <string_view>
#include <vector>

// How a text stands out; on a terminal only.
enum class CtlStyle { kPlain, kHead, kGood, kDoubtful, kBad, kFaint };

// The text in its style: with the terminal's escapes where there is colour, else as it is.
std::string ctl_styled(std::string_view text, CtlStyle style, bool colour);

// Rows of cells, in columns as wide as their widest cell. What is put into it is escaped for the
// terminal here.
class CtlTable {
  public:
    enum class Align { kLeft, kRight };

    explicit CtlTable(bool colour) : m_colour(colour) {}

    void Column(std::string_view head, Align align = Align::kLeft);
    void Row();  // the cells that follow are its
    void Cell(std::string_view text, CtlStyle style = CtlStyle::kPlain);

    // Each line indented by two, without blanks at its end; with the heads where there are any.
    std::string Text() const;

  private:
    struct Entry {
        std::string text;
        CtlStyle style;
    };

    std::string Line(const std::vector<Entry>& cells, const std::vector<size_t>& widths) const;

    bool m_colour;
    std::vector<Entry> m_heads;
    std::vector<Align> m_aligns;
    std::vector<std::vector<Entry>> m_rows;
};
