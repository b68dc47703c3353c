// An independent check of the automaton: for random keyword sets and texts,
// the match records equal those of a plain search that tries every keyword
// at every place of every line.
#include <gtest/gtest.h>

#include <cctype>
#include <random>

#include "support/contscan_fixtures.h"
#include "support/contscan_naive_search.h"

namespace
{

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
    const std::string keywordBytes = "abcab c1\nA";
    const std::string textBytes = "abcdABC 1.\n";
    size_t totalHits = 0;
    for (int round = 0; round < 200; ++round) {
        std::uniform_int_distribution<int> count(0, 25), length(1, 7), textLength(0, 600);
        std::vector<std::string> patterns;
        int keywords = count(random);
        for (int i = 0; i < keywords; ++i)
            patterns.push_back(RandomText(random, keywordBytes, length(random)));
        if (round % 10 == 0 && !patterns.empty())
            patterns.push_back(patterns.front()); // the same text twice
        std::string text = RandomText(random, textBytes, textLength(random));
        if (round % 7 == 0) // lines long enough to be cut
            text = RandomText(random, "abc ", 2500) + "\n" + text;
        if (round % 20 == 5) // long enough to be scanned in streams
            text = RandomText(random, round % 40 == 5 ? textBytes : "abc", 12000) + text;
        bool exactMatch = round % 3 == 0;
        bool caseSensitive = round % 4 == 1;
        NaiveSearch naive(patterns, exactMatch, caseSensitive);
        std::vector<int> expectedFile = naive.File(text);
        std::vector<int> expectedMemory = naive.Memory(text.substr(0, 99999));
        totalHits += expectedFile.size();
        for (uint32_t denseLimit : {0u, 1u, 4u}) {
            PatternTree tree(patterns, denseLimit, denseLimit != 1);
            ASSERT_TRUE(tree.built());
            ASSERT_EQ(tree.SearchFile(text, caseSensitive, exactMatch), expectedFile)
                << "round " << round << " rows " << denseLimit;
            ASSERT_EQ(tree.SearchText(text, caseSensitive, exactMatch), expectedMemory)
                << "round " << round << " rows " << denseLimit;
        }
    }
    EXPECT_GT(totalHits, 10000u); // the check saw plenty of hits
}

} // namespace
