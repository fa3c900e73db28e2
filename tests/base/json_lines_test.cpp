#include "base/pvu_json_lines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using Tree = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

// Every node before those below it.
void Collect(const cJSON* node, std::vector<const cJSON*>& nodes) {
    nodes.push_back(node);
    for (const cJSON* child = node->child; child; child = child->next)
        Collect(child, nodes);
}

// Writes JSON at random, as strange as it may be, and remembers in which line each value begins.
class Writer {
  public:
    explicit Writer(unsigned seed) : m_random(seed) {}

    std::string text;
    std::vector<int> lines;

    void Value(int depth, bool has_key = false) {
        Blank();
        if (!has_key) Note();
        switch (Draw(depth > 0 ? 12 : 5)) {
            case 0:
                text += "null";
                break;
            case 1:
                text += "-12.5e+3";
                break;
            case 2:
                text += "true";
                break;
            case 3:
            case 4:
                Text();
                break;
            case 5:
            case 6:
            case 7:
                return List('[', ']', depth, false);
            default:
                return List('{', '}', depth, true);
        }
    }

  private:
    int Draw(int n) { return static_cast<int>(m_random() % static_cast<unsigned>(n)); }
    void Note() {
        lines.push_back(1 + static_cast<int>(std::count(text.begin(), text.end(), '\n')));
    }
    void Blank() {
        static const char* const kBlanks[] = {"", " ", "\n", "\r\n", "\t", "\n\n", "\x01"};
        text += kBlanks[Draw(7)];
    }
    void Text() {
        static const char* const kPieces[] = {"{", "[,", "\\\"", "\\\\", ":",
                                              "x", "\n", "\\n",  "]}"};
        text += '"';
        for (int i = Draw(4); i > 0; --i)
            text += kPieces[Draw(9)];
        text += '"';
    }
    void List(char begin, char end, int depth, bool keys) {
        text += begin;
        for (int i = Draw(4), first = i; i > 0; --i) {
            if (i != first) text += ',';
            if (keys) {
                Blank();
                Note();
                Text();
                Blank();
                text += ':';
            }
            Value(depth - 1, keys);
            Blank();
        }
        Blank();
        text += end;
    }

    std::mt19937 m_random;
};

TEST(JsonLines, AreThoseInWhichKeysAndValuesBegin) {
    const std::string text = "\xEF\xBB\xBF\n{\"a\":\n1,\n\"b\"\n:[\n{},\"x\n\",\n2]\n}\n";
    Tree tree(cJSON_Parse(text.c_str()), cJSON_Delete);
    ASSERT_TRUE(tree);
    CTJsonLines lines(tree.get(), text);
    std::vector<const cJSON*> nodes;
    Collect(tree.get(), nodes);
    std::vector<int> found;
    for (const cJSON* node : nodes)
        found.push_back(lines.Of(node));
    EXPECT_EQ(found, (std::vector<int>{2, 2, 4, 6, 6, 8}));
    EXPECT_EQ(lines.Of(nullptr), 0);
    EXPECT_EQ(CTJsonLines().Of(tree.get()), 0);
    EXPECT_EQ(pvu_line_of(text, text.c_str() + 4), 2);
    EXPECT_EQ(pvu_line_of(text, text.c_str() + 1000), 10) << "behind the end";
}

TEST(JsonLines, AreRightForJsonOfAnyShape) {
    int nested = 0;
    for (unsigned seed = 0; seed < 5000; ++seed) {
        Writer writer(seed);
        writer.Value(6);
        Tree tree(cJSON_Parse(writer.text.c_str()), cJSON_Delete);
        ASSERT_TRUE(tree) << writer.text;
        CTJsonLines lines(tree.get(), writer.text);
        std::vector<const cJSON*> nodes;
        Collect(tree.get(), nodes);
        ASSERT_EQ(nodes.size(), writer.lines.size()) << writer.text;
        for (size_t i = 0; i < nodes.size(); ++i)
            ASSERT_EQ(lines.Of(nodes[i]), writer.lines[i]) << writer.text << "\nnode " << i;
        if (nodes.size() > 10) ++nested;
    }
    EXPECT_GT(nested, 100);
}

// The wrong text for a tree gives wrong lines or none, and nothing worse.
TEST(JsonLines, AnyTextIsScannedToItsEnd) {
    Tree tree(cJSON_Parse(R"({"a":[1,{"b":2}]})"), cJSON_Delete);
    std::mt19937 random(1);
    for (int i = 0; i < 20000; ++i) {
        static constexpr char kBytes[] = "{}[],:\"\\ \n1a\0";
        std::string text;
        for (auto n = random() % 12; n > 0; --n)
            text += kBytes[random() % (sizeof kBytes - 1)];
        CTJsonLines lines(tree.get(), text);
        EXPECT_LE(lines.Of(tree.get()), 13);
    }
}

}  // namespace
