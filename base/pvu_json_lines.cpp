#include "base/pvu_json_lines.h"

#include <algorithm>
#include <vector>

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kPunctuation = ",:[]{}\"";

// Walks over a text that cJSON took and notes the line of each value, in the order in which they
// begin: that of a tree's nodes, each before those below it. It knows just enough of JSON for that,
// and of how cJSON reads it: every byte up to the blank separates.
class Scanner {
  public:
    explicit Scanner(std::string_view text) : m_text(text) {}

    std::vector<int> Run() {
        if (m_text.starts_with(kByteOrderMark)) m_text.remove_prefix(kByteOrderMark.size());
        while (!m_text.empty())
            Step();
        return std::move(m_lines);
    }

  private:
    void Step() {
        char c = m_text.front();
        switch (c) {
            case '{':
            case '[':
                Begin();
                m_containers.push_back(c);
                m_key_next = c == '{';
                break;
            case '}':
            case ']':
                if (!m_containers.empty()) m_containers.pop_back();
                m_key_next = false;
                break;
            case ',':
                m_key_next = !m_containers.empty() && m_containers.back() == '{';
                break;
            case '"':
                return SkipText();
            default:
                if (!IsBlank(c) && c != ':') return SkipLiteral();
        }
        Skip(1);
    }
    static bool IsBlank(char c) { return static_cast<unsigned char>(c) <= ' '; }

    // A value begins here; one that has a key begins with that.
    void Begin() {
        if (!m_has_key) m_lines.push_back(m_line);
        m_has_key = false;
    }
    void SkipText() {
        Begin();
        if (m_key_next) m_has_key = true;
        m_key_next = false;
        size_t end = 1;
        while (end < m_text.size() && m_text[end] != '"')
            end += m_text[end] == '\\' ? 2u : 1u;
        Skip(end + 1);
    }
    void SkipLiteral() {
        Begin();
        size_t end = 1;
        while (end < m_text.size() && !IsBlank(m_text[end]) &&
               kPunctuation.find(m_text[end]) == std::string_view::npos)
            ++end;
        Skip(end);
    }
    void Skip(size_t n) {
        n = std::min(n, m_text.size());
        m_line += static_cast<int>(std::count(m_text.begin(), m_text.begin() + n, '\n'));
        m_text.remove_prefix(n);
    }

    std::string_view m_text;
    int m_line = 1;
    std::vector<char> m_containers;  // those that are open
    bool m_key_next = false;         // a text that comes now is a key
    bool m_has_key = false;          // the value that comes now has one
    std::vector<int> m_lines;
};

}  // namespace

int pvu_line_of(std::string_view text, const char* place) {
    auto before =
        std::clamp<ptrdiff_t>(place - text.data(), 0, static_cast<ptrdiff_t>(text.size()));
    return 1 + static_cast<int>(std::count(text.begin(), text.begin() + before, '\n'));
}

CTJsonLines::CTJsonLines(const cJSON* root, std::string_view text) {
    std::vector<int> lines = Scanner(text).Run();
    std::vector<const cJSON*> open = {root};  // the next one last
    for (size_t i = 0; i < lines.size() && !open.empty(); ++i) {
        const cJSON* node = open.back();
        open.pop_back();
        if (!node) break;
        m_lines[node] = lines[i];
        // The siblings of a root are none of its tree.
        if (node != root && node->next) open.push_back(node->next);
        if (node->child) open.push_back(node->child);
    }
}

int CTJsonLines::Of(const cJSON* node) const {
    auto found = m_lines.find(node);
    return found == m_lines.end() ? 0 : found->second;
}
