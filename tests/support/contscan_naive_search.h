// A plain keyword search giving the match records the automaton should give:
// every keyword tried at every place of every line, patterns numbered by place.
//
//   NaiveSearch naive({"he", "she"}, /*exactMatch=*/false, /*caseSensitive=*/false);
//   std::vector<int> hits = naive.File(text);      // or naive.Memory(text)
//
// Lines (file mode) are scanned in pieces as the search reads them; at a cut,
// the carried bytes are as many as the longest keyword prefix ending there, plus one.
#pragma once

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

class NaiveSearch {
public:
    NaiveSearch(const std::vector<std::string> &patterns, bool exactMatch, bool caseSensitive = false)
        : m_patterns(patterns), m_exactMatch(exactMatch), m_caseSensitive(caseSensitive) {}

    std::vector<int> Memory(const std::string &text) const
    {
        std::vector<int> hits;
        std::string lowered = Lower(text.substr(0, text.find('\0')));
        Piece(lowered, 0, 0, 0, lowered.size(), hits);
        return hits;
    }

    std::vector<int> File(const std::string &text) const
    {
        std::vector<int> hits;
        const std::string lowered = Lower(text);
        for (size_t lineStart = 0, lineEnd; lineStart < lowered.size(); lineStart = lineEnd) {
            lineEnd = std::min(lowered.find('\n', lineStart), lowered.size() - 1) + 1;
            Line(lowered, lineStart, lineEnd, hits);
        }
        return hits;
    }

private:
    std::string Lower(std::string text) const
    {
        if (m_caseSensitive)
            return text;
        for (char &c : text)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return text;
    }

    void Line(const std::string &text, size_t lineStart, size_t lineEnd, std::vector<int> &hits) const
    {
        for (size_t pieceStart = lineStart, scanFrom = lineStart;;) {
            size_t pieceEnd = std::min(lineEnd, pieceStart + 999);
            Piece(text, lineStart, pieceStart, scanFrom, pieceEnd, hits);
            if (pieceEnd == lineEnd)
                return;
            pieceStart = pieceEnd - (LongestPrefixEndingAt(text, lineStart, pieceEnd) + 1);
            scanFrom = pieceEnd;
        }
    }

    // The longest keyword prefix that the text [lineStart, end) ends with.
    size_t LongestPrefixEndingAt(const std::string &text, size_t lineStart, size_t end) const
    {
        size_t best = 0;
        for (const std::string &p : m_patterns) {
            if (p.size() >= 81)
                continue;
            for (size_t length = std::min(p.size(), end - lineStart); length > best; --length) {
                if (text.compare(end - length, length, p, 0, length) == 0) {
                    best = length;
                    break;
                }
            }
        }
        return best;
    }

    // Hits ending in [scanFrom, pieceEnd), starting at lineStart or later:
    // shorter keywords first, the same text newest first.
    void Piece(const std::string &text, size_t lineStart, size_t pieceStart, size_t scanFrom,
               size_t pieceEnd, std::vector<int> &hits) const
    {
        for (size_t last = scanFrom; last < pieceEnd; ++last) {
            for (size_t length = 1; length <= 80 && length <= last + 1 - lineStart; ++length) {
                size_t start = last + 1 - length;
                if (m_exactMatch && !StandsAlone(text, pieceStart, start, last, pieceEnd))
                    continue;
                for (size_t i = m_patterns.size(); i-- > 0;) {
                    if (m_patterns[i].size() == length &&
                        text.compare(start, length, m_patterns[i]) == 0)
                        hits.push_back(static_cast<int>(i));
                }
            }
        }
    }

    static bool StandsAlone(const std::string &text, size_t pieceStart, size_t start, size_t last,
                            size_t pieceEnd)
    {
        auto word = [&](size_t i) { return std::isalnum(static_cast<unsigned char>(text[i])) != 0; };
        return !(start > pieceStart && word(start - 1)) && (last + 1 >= pieceEnd || !word(last + 1));
    }

    std::vector<std::string> m_patterns;
    bool m_exactMatch, m_caseSensitive;
};
