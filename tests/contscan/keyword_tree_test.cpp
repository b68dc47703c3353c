// The keyword automaton: the match records of a search, in order, in memory
// and file mode, with exact matching and across the cuts of long lines.
#include <cctype>

#include <gtest/gtest.h>

#include "support/contscan_fixtures.h"

namespace
{

enum Mode { MEMORY, FILE_MODE };

struct SearchCase {
    const char *name;
    std::vector<std::string> patterns;
    std::string text;
    Mode mode;
    bool exactMatch;
    std::vector<int> expected; // pattern numbers in record order
};

TEST(KeywordTree, SearchYieldsTheRecordsOfEveryHitInOrder)
{
    const std::string longest(80, 'k');
    // Rows for what the random comparison with the plain search leaves out.
    const SearchCase cases[] = {
        {"exact: digits are word bytes", {"cat"}, "cat9 9cat", MEMORY, true, {}},
        {"exact: a suffix may stand alone", {"bob cat", "cat"}, "bob cat", MEMORY, true, {1, 0}},
        {"keyword holding a newline, memory", {"a\nb"}, "a\nb", MEMORY, false, {0}},
        {"keyword holding a newline, file", {"a\nb"}, "a\nb\n", FILE_MODE, false, {}},
        {"keyword ending in a newline, file", {"end\n"}, "the end\nnext", FILE_MODE, false, {0}},
        {"80 bytes are kept", {longest}, "<" + longest + ">", MEMORY, false, {0}},
        {"81 bytes are skipped", {longest + "k"}, longest + "k", MEMORY, false, {}},
        {"empty pattern is skipped", {""}, "anything", MEMORY, false, {}},
        {"bytes above 127", {"\xa4\xb3\xa4\xf3"}, "x\xa4\xb3\xa4\xf3y", MEMORY, false, {0}},
        {"text stops at its NUL", {"tail"}, std::string("head\0tail", 9), MEMORY, false, {}},
        {"NUL bytes in a file are text", {"tail"}, std::string("head\0tail\n", 10), FILE_MODE, false, {0}},
        {"last line without newline", {"last"}, "first\nlast", FILE_MODE, false, {0}},
    };
    for (const SearchCase &c : cases) {
        PatternTree tree(c.patterns);
        int result = 1;
        std::vector<int> hits = c.mode == MEMORY
                                    ? tree.SearchText(c.text, false, c.exactMatch, &result)
                                    : tree.SearchFile(c.text, false, c.exactMatch, &result);
        EXPECT_EQ(result, 0) << c.name;
        EXPECT_EQ(hits, c.expected) << c.name;
    }
}

TEST(KeywordTree, CaseFoldingLowersTheMemoryTextInPlace)
{
    PatternTree tree({"money", "MONEY"});
    std::string lowered, all, expected;
    EXPECT_EQ(tree.SearchText("Free MONEY", true, false, nullptr, &lowered), (std::vector<int>{1}));
    EXPECT_EQ(lowered, "Free MONEY");
    for (int c = 1; c < 256; ++c) {   // every byte but NUL as tolower gives it
        all += static_cast<char>(c);
        expected += static_cast<char>(std::tolower(c));
    }
    tree.SearchText(all, false, false, nullptr, &lowered);
    EXPECT_EQ(lowered, expected);
}

TEST(KeywordTree, ReturnCodes)
{
    KEYWORD_MATCH_SET matches = {};
    BaseTempDir dir;
    PatternTree tree({"money"});
    MEMBUF membuf{};
    membuf.m_bInMemory = 1;
    std::strcpy(membuf.m_szData, "money");
    std::string file = dir.write("text", "money\n"), missing = dir.path("missing");
    EXPECT_EQ(AhoCorasickStringSearch(nullptr, nullptr, file.c_str(), 0, 0, &matches), -1);
    EXPECT_EQ(AhoCorasickStringSearch(tree.tree(), &membuf, missing.c_str(), 0, 0, &matches), -ENOENT);
    EXPECT_EQ(AhoCorasickStringSearch(tree.tree(), nullptr, nullptr, 0, 0, &matches), -ENOENT);
    EXPECT_EQ(matches.m_pFirst, nullptr);
}

TEST(KeywordTree, FullMemoryBufferWithoutTerminatorStaysInside)
{
    PatternTree tree({"zz"});
    std::unique_ptr<MEMBUF> membuf(new MEMBUF{});
    membuf->m_bInMemory = 1;
    std::memset(membuf->m_szData, 'z', sizeof membuf->m_szData);
    BaseTempDir dir;
    std::string file = dir.write("text", "");
    EXPECT_TRUE(tree.Search(membuf.get(), file.c_str(), false, true, nullptr).empty());   // none alone
    EXPECT_EQ(tree.Search(membuf.get(), file.c_str(), false, false, nullptr).size(),
              sizeof membuf->m_szData - 1);
}

// Long lines are scanned in pieces of 999 bytes; the state and the last
// (depth + 1) bytes carry over a cut.
TEST(KeywordTree, LongLinesAreCutAt999Bytes)
{
    auto at = [](size_t offset, const std::string &word, const std::string &after = "y\n") {
        return std::string(offset, 'x') + word + after;
    };
    auto spaced = [](size_t offset, const std::string &word, const std::string &after) {
        return std::string(offset, ' ') + word + after;
    };
    const struct {
        const char *name;
        std::vector<std::string> patterns;
        std::string text;
        bool exactMatch;
        std::vector<int> expected;
    } cases[] = {
        {"keyword across the cut", {"needle"}, at(996, "needle"), false, {0}},
        {"keyword across a newline near the cut", {"needle"}, at(996, "nee\ndle"), false, {}},
        {"keyword across a second cut", {"needle"}, at(1994, "needle"), false, {0}},
        {"exact: the cut counts as a word end", {"cat"}, spaced(996, "cat", "s\n"), true, {0}},
        {"exact: a word end beyond the cut is seen", {"cat"}, spaced(995, "cat", "s\n"), true, {}},
        {"exact: the byte before stays visible", {"cat"}, spaced(996, "bcat", " \n"), true, {}},
        {"exact: across the cut, standing alone", {"cat"}, spaced(997, "cat", " \n"), true, {0}},
        {"a line of exactly 999 bytes", {"end\n"}, at(995, "end\n", "end\n"), false, {0, 0}},
    };
    for (const auto &c : cases) {
        PatternTree tree(c.patterns);
        EXPECT_EQ(tree.SearchFile(c.text, false, c.exactMatch), c.expected) << c.name;
    }
    // In memory the text is one piece: no cut, so the word end is seen.
    PatternTree tree({"cat"});
    EXPECT_TRUE(tree.SearchText(spaced(996, "cat", "s"), false, true).empty());
}

} // namespace
