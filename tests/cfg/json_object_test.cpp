#include "cfg/json_object.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cmath>
#include <string>
#include <vector>

#include "tests/cfg/unformatted.h"
#include "tests/support/scratch_dir.h"

namespace {

TEST(JsonObject, WithoutKeyTextOrNodeTheAnswerIsFalseZeroOrNull) {
    CTJsonObject full;
    ASSERT_TRUE(full.Parse("{\"a\":1}"));
    CTJsonObject empty;
    const char* no_text = nullptr;
    cJSON* no_node = nullptr;
    // A node without a key, then a key without a node.
    for (auto [json, key] : {std::pair(&full, no_text), std::pair(&empty, "a")}) {
        int number = 7;
        EXPECT_FALSE(json->HasItem(key) || json->AddItem(key, no_node));
        EXPECT_FALSE(json->GetItemValue(key, number) || json->SetItemValue(key, 1));
        EXPECT_EQ(number, 7);
        json->DeleteItem(key);
        json->DeleteItemCaseSensitive(key);
        for (cJSON* node :
             {json->GetItem(key), json->GetItemCaseSensitive(key), json->AddNull(key),
              json->AddTrue(key), json->AddFalse(key), json->AddBool(key, 1), json->AddInt(key, 1),
              json->AddString(key, "x"), json->AddRaw(key, "1"), json->AddObject(key),
              json->AddArray(key), full.AddString("s", nullptr), full.AddRaw("s", nullptr)}) {
            EXPECT_EQ(node, nullptr);
        }
    }
    EXPECT_FALSE(full.GetItemValue("a", static_cast<char**>(nullptr)));
    EXPECT_EQ(full.SetString("not a string"), nullptr);
    EXPECT_STREQ(full.Print(), "{\n\t\"a\":\t1\n}");
    full.Free();

    empty.SetInt(1);
    empty.SetDouble(1);
    empty.SetBool(true);
    EXPECT_TRUE(empty.GetInt() == 0 && empty.GetDouble() == 0 && !empty.GetBool());
    EXPECT_TRUE(!empty.GetString() && !empty.SetString("x") && !empty.Print());
    EXPECT_FALSE(empty.Parse(nullptr));
    char buf[8];
    using J = CTJsonObject;
    EXPECT_EQ(J::ReadFile(nullptr), nullptr);
    EXPECT_EQ(J::ReadFile(nullptr, buf, 8) + J::ReadFile("/etc/passwd", nullptr, 8) +
                  J::ReadFile("/etc/passwd", buf, 0) + J::WriteFile(nullptr, "x") +
                  J::WriteFile("/dev/null", no_text) + J::WriteFile("/dev/null", no_node),
              0);
}

TEST(JsonObject, BuildsEveryKindOfMember) {
    CTJsonObject json;
    ASSERT_TRUE(json.Create());
    json.AddNull("null");
    json.AddTrue("true");
    json.AddFalse("false");
    json.AddBool("bool", 2);
    json.AddInt("int", INT_MIN);
    json.AddDouble("double", 0.5);
    json.AddString("string", "%s\n");
    json.AddRaw("raw", "[ 1 ]");
    json.AddObject("object");
    json.AddArray("array");
    CTJsonObject items[] = {CTJsonObject("text"), CTJsonObject(true), CTJsonObject(5),
                            CTJsonObject(0.25)};
    for (CTJsonObject& item : items)
        EXPECT_TRUE(json.AddItem("item", item));
    json.DeleteItemCaseSensitive("FALSE");
    json.DeleteItem("NULL");
    EXPECT_EQ(Unformatted(json.GetHandle()),
              R"({"true":true,"false":false,"bool":true,"int":-2147483648,"double":0.5,)"
              R"("string":"%s\n","raw":[ 1 ],"object":{},"array":[],)"
              R"("item":"text","item":true,"item":5,"item":0.25})");
}

TEST(JsonObject, AnIntegerIsTruncatedAndCutToItsLow32Bits) {
    const std::pair<const char*, int> cases[] = {{"-1.9", -1},
                                                 {"4294967297", 1},
                                                 {"-4294967299", -3},
                                                 {"9223372036854774784", -1024},
                                                 {"-9223372036854775808", 0},
                                                 {"9223372036854775808", INT_MIN},
                                                 {"-1e300", INT_MIN},
                                                 {"\"12\"", INT_MIN}};
    for (auto [text, expected] : cases) {
        CTJsonObject json;
        ASSERT_TRUE(json.Parse(text));
        EXPECT_EQ(json.GetInt(), expected) << text;
        json.Free();
    }
}

TEST(JsonObject, ValuesAreReadAndChangedByType) {
    CTJsonObject json;
    ASSERT_TRUE(json.Parse(R"({"n":1,"s":"short","b":false})"));
    EXPECT_TRUE(json.GetItem("N") && !json.GetItemCaseSensitive("N"));
    int integer = 0;
    double number = 0;
    char* text = nullptr;
    bool flag = true;
    EXPECT_TRUE(json.GetItemValue("S", integer) && integer == INT_MIN);
    EXPECT_TRUE(json.GetItemValue("s", number) && std::isnan(number));
    EXPECT_TRUE(json.GetItemValue("n", &text) && !text);
    EXPECT_TRUE(json.GetItemValue("n", flag) && !flag);

    EXPECT_TRUE(json.SetItemValue("n", true));
    EXPECT_EQ(json.GetItem("n")->type, cJSON_Number);
    EXPECT_TRUE(json.SetItemValue("n", 0.5));
    EXPECT_TRUE(json.GetItemValue("n", number) && number == 0.5);
    EXPECT_TRUE(json.SetItemValue("n", -3));
    EXPECT_EQ(json.GetItem("n")->valueint, -3);
    EXPECT_TRUE(json.SetItemValue("s", "a longer text"));
    json.GetItem("b")->type |= cJSON_IsReference;
    EXPECT_TRUE(json.SetItemValue("b", true));
    EXPECT_EQ(json.GetItem("b")->type, cJSON_True | cJSON_IsReference);
    EXPECT_TRUE(json.GetItemValue("b", flag) && flag);
    EXPECT_EQ(Unformatted(json.GetHandle()), R"({"n":-3,"s":"a longer text","b":true})");
}

TEST(JsonObject, HandlesShareATreeAndOnlyFreeDeletesIt) {
    CTJsonObject owner;
    ASSERT_TRUE(owner.Create());
    cJSON* tree = owner.GetHandle();
    {
        CTJsonObject other;
        other = &owner;
        other.AddInt("n", 1);
        other.Print();
        const char* text = other.Print();
        other = static_cast<cJSON*>(nullptr);
        EXPECT_TRUE(other.IsEmpty());
        EXPECT_STREQ(text, "{\n\t\"n\":\t1\n}");
        other = owner;
        other = static_cast<CTJsonObject*>(nullptr);
        EXPECT_EQ(other.GetHandle(), tree);
        EXPECT_TRUE(other.Create());
        other.Free();
    }
    EXPECT_FALSE(owner.Parse("{\"n\":") || !owner.IsEmpty());
    EXPECT_TRUE(owner.Attach(tree) && owner.HasItem("n"));
    CTJsonObject::Free(owner);
    EXPECT_TRUE(owner.IsEmpty());
}

TEST(JsonObject, AFileIsReadInWholePiecesThatStayBelowTheSize) {
    ScratchDir dir;
    std::string path = dir.File("text");
    std::string text = std::string(600, 'x') + "\ny\n";
    WriteWholeFile(path, text);
    // Pieces of 255, 255, 91 and 2; each needs a place for the terminator too.
    for (auto [size, stored] : {std::pair(604, 603), {603, 601}, {511, 510}, {510, 255}, {1, 0}}) {
        std::vector<char> buf(static_cast<size_t>(size), '#');
        EXPECT_EQ(CTJsonObject::ReadFile(path.c_str(), buf.data(), size), stored);
        EXPECT_EQ(buf.data(), text.substr(0, static_cast<size_t>(stored)));
    }
    // A zero byte ends its piece, not the text.
    WriteWholeFile(path, std::string("a\0b\nc\n\0d\ne", 10));
    char buf[16];
    EXPECT_EQ(CTJsonObject::ReadFile(path.c_str(), buf, sizeof buf), 4);
    EXPECT_STREQ(buf, "ac\ne");
    EXPECT_EQ(CTJsonObject::ReadFile("/dev/zero", buf, sizeof buf), 0);
}

TEST(JsonObject, AFileIsParsedWholeUpToTheLargestSize) {
    ScratchDir dir;
    std::string path = dir.File("large.json");
    size_t limit = CTJsonObject::kMaxFileSize;
    for (size_t size : {limit, limit + 1}) {
        WriteWholeFile(path, "{\"text\":\"" + std::string(size - 11, 'x') + "\"}");
        CTJsonObject json;
        json = CTJsonObject::ReadFile(path.c_str());
        EXPECT_EQ(json.HasItem("text"), size <= limit) << size;
        json.Free();
    }
    // A size that is negative in 32 bits.
    ASSERT_EQ(truncate(path.c_str(), off_t{1} << 31), 0);
    EXPECT_EQ(CTJsonObject::ReadFile(path.c_str()), nullptr);
}

}  // namespace
