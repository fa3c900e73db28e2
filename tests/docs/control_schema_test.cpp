// The schema that docs/control.md and docs/page.md promise to other programs, against what the
// programs give: same keys, same kinds of values.

#include <gtest/gtest.h>

#include <algorithm>

#include "ctl/check_file.h"
#include "sys/edge_snapshot_json.h"
#include "tcr/snapshot_json.h"
#include "tcr/traffic_history_json.h"
#include "tests/docs/told.h"

namespace {

// The kind of a value; of whatever is true or false, one.
int KindOf(const cJSON* value) {
    int kind = value->type & 0xFF;
    return kind == cJSON_True ? cJSON_False : kind;
}

// May_leave_out: members of the object at that place, of which the document shows some.
void ExpectSame(const cJSON* documented, const cJSON* given, const std::string& place,
                const std::vector<std::string>& may_leave_out) {
    ASSERT_TRUE(documented && given) << place;
    EXPECT_EQ(KindOf(documented), KindOf(given)) << place;
    if (cJSON_IsArray(given)) {
        return ExpectSame(documented->child, given->child, place + "[]", may_leave_out);
    }
    if (!cJSON_IsObject(given)) return;
    for (const cJSON* item = documented->child; item; item = item->next) {
        std::string key = place + "." + item->string;
        const cJSON* there = cJSON_GetObjectItemCaseSensitive(given, item->string);
        EXPECT_TRUE(there) << key << " is documented and not given";
        if (there) ExpectSame(item, there, key, may_leave_out);
    }
    if (std::find(may_leave_out.begin(), may_leave_out.end(), place) != may_leave_out.end()) return;
    for (const cJSON* item = given->child; item; item = item->next) {
        EXPECT_TRUE(cJSON_GetObjectItemCaseSensitive(documented, item->string))
            << place << "." << item->string << " is given and not documented";
    }
}

void ExpectSame(const CTJsonTree& documented, const std::string& given,
                const std::vector<std::string>& may_leave_out = {}) {
    CTJsonTree tree(cJSON_Parse(given.c_str()));
    ExpectSame(documented.get(), tree.get(), "", may_leave_out);
}

// Every key of what is given stands in that text, as `key`.
void ExpectNamed(const cJSON* given, const std::string& text) {
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, given) {
        if (item->string) {
            EXPECT_NE(text.find("`" + std::string(item->string) + "`"), std::string::npos)
                << item->string;
        }
        ExpectNamed(item, text);
    }
}

// The row of a table that has it.
std::string Row(const std::string& text, const std::string& what) {
    size_t found = text.find(what);
    EXPECT_NE(found, std::string::npos) << what;
    if (found == std::string::npos) return "";
    return text.substr(found, text.find('\n', found) - found);
}

TEST(ControlSchema, OfAnEdgeIsAsDocumented) {
    std::string section = Section(SourceFile("docs/control.md"), "### An edge");
    ExpectSame(JsonBlock(section), edge_snapshot_json(ToldByEdge()), {".counters", ".drops"});
}

TEST(ControlSchema, OfACentralRouterIsAsDocumented) {
    std::string document = SourceFile("docs/control.md");
    TcrSnapshot snapshot = ToldByCentralRouter();
    ExpectSame(JsonBlock(Section(document, "### A central router")), tcr_snapshot_json(snapshot));
    CTJsonTree subnets = tcr_subnets_tree(snapshot);
    for (const char* head : {"schema", "program", "version", "time", "uptime_seconds"})
        cJSON_DeleteItemFromObjectCaseSensitive(subnets.get(), head);
    ExpectNamed(subnets.get(), Row(document, "| `{\"command\": \"subnet list\"}` |"));
}

TEST(ControlSchema, OfACheckAndOfAHistoryAreAsDocumented) {
    CtlFileCheck check{CtlFileKind::kEdge, {{1, "fault"}}};
    CTJsonTree tree(cJSON_Parse(ctl_check_json("file", check).c_str()));
    ExpectNamed(tree.get(), Section(SourceFile("docs/control.md"), "### A check"));

    TcrTrafficHistory::Samples samples = {
        {}, {.from_edges = 1, .to_edges = 1, .round_trip = 1, .longest_round_trip = 1}};
    std::string history = tcr_history_json(samples, 1);
    CTJsonTree documented = JsonBlock(Section(SourceFile("docs/page.md"), "## For programs"));
    // Whether the first sample is known makes no difference.
    for (cJSON* list = documented ? documented->child : nullptr; list; list = list->next) {
        if (cJSON_IsArray(list)) cJSON_DeleteItemFromArray(list, 0);
    }
    size_t null = 0;
    while ((null = history.find("null,")) != std::string::npos)
        history.erase(null, 5);
    ExpectSame(documented, history);
}

}  // namespace
