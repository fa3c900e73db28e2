// The metrics that the documentation and the dashboard name, against those that the programs give.

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "tests/docs/told.h"
#include "tests/support/scratch_dir.h"

namespace {

using Names = std::set<std::string>;

// Of every match, the first part in parentheses.
Names FindAll(const std::string& text, const std::string& pattern) {
    std::regex regex(pattern);
    Names found;
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match)
        found.insert((*match)[1]);
    return found;
}

// The families of the programs, each with the labels of its samples.
std::map<std::string, Names> ToldFamilies() {
    std::map<std::string, Names> families;
    std::istringstream lines(ToldMetrics());
    for (std::string line; std::getline(lines, line);) {
        if (line[0] == '#') continue;
        Names labels = FindAll(line, R"re((?:\{|",)([a-z_]+)=")re");
        families[line.substr(0, line.find_first_of("{ "))].insert(labels.begin(), labels.end());
    }
    return families;
}

const cJSON* Member(const cJSON* object, const char* key) {
    return cJSON_GetObjectItemCaseSensitive(object, key);
}

std::string Text(const cJSON* object, const char* key) {
    const char* text = cJSON_GetStringValue(Member(object, key));
    return text ? text : "";
}

// Every query of the dashboard, with the texts in which its labels are shown.
std::multimap<std::string, std::string> Queries(const cJSON* dashboard) {
    std::multimap<std::string, std::string> queries;
    const cJSON* panel = nullptr;
    cJSON_ArrayForEach(panel, Member(dashboard, "panels")) {
        const cJSON* target = nullptr;
        cJSON_ArrayForEach(target, Member(panel, "targets"))
            queries.emplace(Text(target, "expr"), Text(target, "legendFormat"));
    }
    return queries;
}

class Dashboard : public testing::Test {
  protected:
    CTJsonTree dashboard{cJSON_Parse(SourceFile("packaging/grafana/tamvo.json").c_str())};
};

TEST(MetricsDocumentation, NamesEachFamilyAndNoOther) {
    std::map<std::string, Names> families = ToldFamilies();
    ASSERT_GT(families.size(), 20u);
    for (auto [file, heading, prefix] :
         {std::tuple("docs/control.md", "## Metrics", "tamvo_edge_"),
          {"docs/page.md", "## Prometheus and Grafana", "tamvo_tcr_"}}) {
        std::string section = Section(SourceFile(file), heading);
        Names whole = FindAll(section, "`(" + std::string(prefix) + "[a-z_]+)`");
        Names ends = FindAll(section, R"(`\.\.\.(_[a-z_]+)`)");
        Names unused = ends;
        for (const auto& [family, labels] : families) {
            if (!family.starts_with(prefix)) continue;
            bool named = whole.erase(family) > 0;
            for (const std::string& end : ends) {
                if (!family.ends_with(end)) continue;
                named = true;
                unused.erase(end);
            }
            EXPECT_TRUE(named) << family << " is not in " << file;
        }
        EXPECT_EQ(whole, Names()) << "nobody gives them";
        EXPECT_EQ(unused, Names()) << "nobody gives them";
    }
}

TEST_F(Dashboard, AsksForMetricsAndLabelsThatTheProgramsGive) {
    std::map<std::string, Names> families = ToldFamilies();
    std::multimap<std::string, std::string> queries = Queries(dashboard.get());
    ASSERT_GT(queries.size(), 10u);
    const cJSON* variable = nullptr;
    cJSON_ArrayForEach(variable, Member(Member(dashboard.get(), "templating"), "list")) {
        std::string query = Text(variable, "definition");
        std::smatch parts;
        if (!std::regex_match(query, parts, std::regex(R"(label_values\((.*), *([a-z_]+)\))")))
            continue;
        queries.emplace(parts[1], "{{" + std::string(parts[2]) + "}}");
    }
    for (const auto& [query, legend] : queries) {
        Names known = {"instance", "job"};  // Prometheus's own
        for (const std::string& name : FindAll(query, R"(\b(tamvo_[a-z_]+))")) {
            EXPECT_TRUE(families.contains(name)) << name << " in " << query;
            known.insert(families[name].begin(), families[name].end());
        }
        Names asked = FindAll(legend, R"(\{\{ *([a-z_]+) *\}\})");
        asked.merge(FindAll(query, R"(\b([a-z_]+) *(?:=|!=|=~|!~) *")"));
        for (const std::string& group : FindAll(query, R"(\b(?:by|without|on) *\(([a-z_, ]*)\))"))
            asked.merge(FindAll(group, "([a-z_]+)"));
        for (const std::string& label : asked)
            EXPECT_TRUE(known.contains(label)) << label << " in " << query << " " << legend;
    }
}

// What can be held of its form without the program that shows it.
TEST_F(Dashboard, HasPanelsBesideOneAnotherEachWithItsSource) {
    const cJSON* root = dashboard.get();
    EXPECT_GE(cJSON_GetNumberValue(Member(root, "schemaVersion")), 36);
    EXPECT_EQ(Text(root, "uid").size() <= 40 && !Text(root, "uid").empty(), true);
    EXPECT_FALSE(Text(root, "title").empty());
    EXPECT_TRUE(cJSON_IsNull(Member(root, "id")) || !Member(root, "id")) << "of somebody's own";
    Names variables;
    const cJSON* variable = nullptr;
    cJSON_ArrayForEach(variable, Member(Member(root, "templating"), "list"))
        variables.insert("$" + Text(variable, "name"));
    variables.insert({"$__rate_interval", "$__all"});
    const Names types = {"stat", "timeseries", "table", "row"};
    std::set<double> identifiers;
    std::set<std::pair<int, int>> taken;
    const cJSON* panel = nullptr;
    cJSON_ArrayForEach(panel, Member(root, "panels")) {
        std::string title = Text(panel, "title");
        SCOPED_TRACE(title);
        EXPECT_FALSE(title.empty());
        EXPECT_TRUE(types.contains(Text(panel, "type"))) << Text(panel, "type");
        EXPECT_TRUE(identifiers.insert(cJSON_GetNumberValue(Member(panel, "id"))).second);
        const cJSON* place = Member(panel, "gridPos");
        auto at = [&](const char* key) {
            return static_cast<int>(cJSON_GetNumberValue(Member(place, key)));
        };
        EXPECT_TRUE(at("x") >= 0 && at("w") >= 1 && at("x") + at("w") <= 24 && at("h") >= 1);
        for (int x = at("x"); x < at("x") + at("w"); ++x) {
            for (int y = at("y"); y < at("y") + at("h"); ++y)
                EXPECT_TRUE(taken.emplace(x, y).second) << "on another panel";
        }
        if (Text(panel, "type") == "row") continue;
        EXPECT_EQ(Text(Member(panel, "datasource"), "type"), "prometheus");
        EXPECT_EQ(Text(Member(panel, "datasource"), "uid"), "${datasource}");
        Names letters;
        const cJSON* target = nullptr;
        cJSON_ArrayForEach(target, Member(panel, "targets")) {
            EXPECT_TRUE(letters.insert(Text(target, "refId")).second) << Text(target, "refId");
            for (const std::string& used : FindAll(Text(target, "expr"), R"((\$\w+))"))
                EXPECT_TRUE(variables.contains(used)) << used;
        }
        EXPECT_FALSE(letters.empty());
    }
}

bool HasPromtool() {
    return system("command -v promtool >/dev/null") == 0;
}

// Its queries are rules to promtool, once its variables have values.
TEST_F(Dashboard, AsksWhatPrometheusUnderstands) {
    if (!HasPromtool()) GTEST_SKIP() << "no promtool (Debian: prometheus)";
    std::string rules = "groups: [ { name: dashboard, rules: [\n";
    int number = 0;
    for (const auto& [expression, legend] : Queries(dashboard.get())) {
        std::string query =
            std::regex_replace(expression, std::regex(R"(\$__rate_interval)"), "5m");
        query = std::regex_replace(query, std::regex(R"(\$subnet)"), ".*");
        EXPECT_EQ(query.find('$'), std::string::npos) << query;
        rules += "{ record: 'q" + std::to_string(++number) + "', expr: '" + query + "' },\n";
    }
    ScratchDir dir;
    WriteWholeFile(dir.File("rules"), rules + "] } ]\n");
    EXPECT_EQ(system(("promtool check rules " + dir.File("rules")).c_str()), 0) << rules;
}

TEST(Metrics, OfAnEdgeAreWhatPrometheusReads) {
    if (!HasPromtool()) GTEST_SKIP() << "no promtool (Debian: prometheus)";
    ScratchDir dir;
    WriteWholeFile(dir.File("metrics"), ToldMetrics());
    EXPECT_EQ(system(("promtool check metrics <" + dir.File("metrics")).c_str()), 0);
}

}  // namespace
