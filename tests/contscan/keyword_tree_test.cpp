// The keyword automaton: the match records of a search, in order, in memory
// and file mode, with exact matching, across the cuts of long lines, and
// against a plain search on random keyword sets.
#include <cctype>
#include <random>

#include <gtest/gtest.h>

#include "support/contscan_fixtures.h"
#include "support/contscan_naive_search.h"

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
        std::vector<int> hits = c.mode == MEMORY ? tree.SearchText(c.text, false, c.exactMatch, &result)
                                                 : tree.SearchFile(c.text, false, c.exactMatch, &result);
        EXPECT_EQ(result, 0) << c.name;
        EXPECT_EQ(hits, c.expected) << c.name;
    }
}

TEST(KeywordTree, ReturnCodesAndAFullMemoryBufferWithoutTerminator)
{
    KEYWORD_MATCH_SET matches = {};
    BaseTempDir dir;
    PatternTree money({"money"}), tree({"zz"});
    const std::string file = dir.write("text", ""), missing = dir.path("missing");
    std::unique_ptr<MEMBUF> membuf(new MEMBUF{});
    membuf->m_bInMemory = 1;
    EXPECT_EQ(AhoCorasickStringSearch(nullptr, nullptr, file.c_str(), 0, 0, &matches), -1);
    EXPECT_EQ(AhoCorasickStringSearch(money.tree(), membuf.get(), missing.c_str(), 0, 0, &matches), -ENOENT);
    EXPECT_EQ(AhoCorasickStringSearch(money.tree(), nullptr, nullptr, 0, 0, &matches), -ENOENT);
    EXPECT_EQ(matches.m_pFirst, nullptr);
    std::memset(membuf->m_szData, 'z', sizeof membuf->m_szData);   // the search stays inside
    EXPECT_TRUE(tree.Search(membuf.get(), file.c_str(), false, true, nullptr).empty());   // none alone
    EXPECT_EQ(tree.Search(membuf.get(), file.c_str(), false, false, nullptr).size(),
              sizeof membuf->m_szData - 1);
}

// Folding case lowers the caller's buffer in memory mode, byte for byte as
// tolower does; a case-sensitive search leaves it alone.
TEST(KeywordTree, MemoryModeLowersTheBufferAsTolowerDoes)
{
    BaseTempDir dir;
    const std::string file = dir.write("text", "");
    PatternTree tree({"zz"});
    for (const bool caseSensitive : {false, true}) {
        std::unique_ptr<MEMBUF> membuf(new MEMBUF{});
        membuf->m_bInMemory = 1;
        for (int round = 0; round < 3; ++round) // runs long enough for vector steps
            for (int c = 1; c < 256; ++c)
                membuf->m_szData[round * 255 + c - 1] = static_cast<char>(c);
        tree.Search(membuf.get(), file.c_str(), caseSensitive, false, nullptr);
        for (int i = 0; i < 3 * 255; ++i) {
            const int c = i % 255 + 1;
            ASSERT_EQ(caseSensitive ? c : std::tolower(c), static_cast<unsigned char>(membuf->m_szData[i])) << c;
        }
    }
}

// Long lines are scanned in pieces of 999 bytes; the state and the last
// (depth + 1) bytes carry over a cut.
TEST(KeywordTree, LongLinesAreCutAt999Bytes)
{
    auto at = [](size_t offset, const std::string &word, const std::string &after = "y\n", char fill = 'x') {
        return std::string(offset, fill) + word + after;
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
        {"exact: the cut counts as a word end", {"cat"}, at(996, "cat", "s\n", ' '), true, {0}},
        {"exact: a word end beyond the cut is seen", {"cat"}, at(995, "cat", "s\n", ' '), true, {}},
        {"exact: the byte before stays visible", {"cat"}, at(996, "bcat", " \n", ' '), true, {}},
        {"a line of exactly 999 bytes", {"end\n"}, at(995, "end\n", "end\n"), false, {0, 0}},
    };
    for (const auto &c : cases) {
        PatternTree tree(c.patterns);
        EXPECT_EQ(tree.SearchFile(c.text, false, c.exactMatch), c.expected) << c.name;
    }
    // In memory the text is one piece: no cut, so the word end is seen.
    PatternTree tree({"cat"});
    EXPECT_TRUE(tree.SearchText(at(996, "cat", "s", ' '), false, true).empty());
}

std::string RandomText(std::mt19937 &random, const std::string &alphabet, size_t length)
{
    std::uniform_int_distribution<size_t> pick(0, alphabet.size() - 1);
    std::string text;
    for (size_t i = 0; i < length; ++i)
        text += alphabet[pick(random)];
    return text;
}

TEST(KeywordSearchNaive, RandomKeywordSetsAgreeWithAPlainSearch)
{
    std::mt19937 random(20021220);
    const std::string keywordBytes = "abcab c1\nA", textBytes = "abcdABC 1.\n";
    size_t totalHits = 0;
    for (int round = 0; round < 200; ++round) {
        std::uniform_int_distribution<int> count(0, 25), length(1, 7), textLength(0, 600);
        std::vector<std::string> patterns(static_cast<size_t>(count(random)));
        for (std::string &pattern : patterns)
            pattern = RandomText(random, keywordBytes, length(random));
        if (round % 10 == 0 && !patterns.empty())
            patterns.push_back(patterns.front()); // the same text twice
        std::string text = RandomText(random, textBytes, textLength(random));
        if (round % 7 == 0) // lines long enough to be cut
            text = RandomText(random, "abc ", 2500) + "\n" + text;
        if (round % 20 == 5) // long enough to be scanned in streams
            text = RandomText(random, round % 40 == 5 ? textBytes : "abc", 12000) + text;
        const bool exactMatch = round % 3 == 0, caseSensitive = round % 4 == 1;
        NaiveSearch naive(patterns, exactMatch, caseSensitive);
        const std::vector<int> expectedFile = naive.File(text), expectedMemory = naive.Memory(text.substr(0, 99999));
        totalHits += expectedFile.size();
        for (uint32_t denseLimit : {0u, 1u, 4u, 12u}) {
            SCOPED_TRACE("round " + std::to_string(round) + " rows " + std::to_string(denseLimit));
            PatternTree tree(patterns, denseLimit, denseLimit != 1);
            ASSERT_TRUE(tree.built());
            ASSERT_EQ(tree.SearchFile(text, caseSensitive, exactMatch), expectedFile);
            ASSERT_EQ(tree.SearchText(text, caseSensitive, exactMatch), expectedMemory);
        }
    }
    EXPECT_GT(totalHits, 10000u); // the check saw plenty of hits
}

} // namespace

