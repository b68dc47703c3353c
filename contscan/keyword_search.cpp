// AhoCorasickStringSearch: runs the keyword automaton over one mail's text
// and appends a match record for every hit (the stepping itself is
// KeywordScanner's, the match set's helpers are in keyword_match_set.cpp).
//
// The text comes from the MEMBUF when its in-memory flag is set (one piece,
// up to its NUL) or else from the text file, line by line: a line is at most
// 999 bytes; after a newline the automaton starts afresh, so no keyword
// matches across a line break; a longer line is cut, and the scan of the
// next piece goes on with the state kept, the last (depth + 1) bytes of the
// piece carried in front of it so that a keyword spans the cut and the byte
// before a match stays visible. With exact matching, a hit counts only when
// the bytes before and after it are not letters or digits; a byte outside
// the current piece counts as such a boundary.
//
// Without case sensitivity the text is lowered first, through the scanner's
// table filled from tolower; in memory mode that changes the caller's buffer.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/log.h"
#include "contscan/keyword_scanner.h"
#include "contscan/keyword_tree.h"

namespace
{

// Bytes read from the text file at a time.
constexpr size_t kReadBlock = 256 * 1024;

// The text of a MEMBUF: up to its NUL, never past the buffer.
int ScanMemory(KeywordScanner &scanner, MEMBUF *membuf, bool caseSensitive)
{
    unsigned char *text = reinterpret_cast<unsigned char *>(membuf->m_szData);
    size_t length = strnlen(membuf->m_szData, sizeof membuf->m_szData);
    if (!caseSensitive)
        scanner.Lower(text, length);
    return scanner.ScanStreams(text, text + length) ? 0 : -ENOMEM;
}

// The text file in lines of at most OV_SCAN_LINE_LIMIT bytes. The read
// buffer always holds the whole current piece.
class LineScan
{
public:
    LineScan(FILE *file, KeywordScanner &scanner) : m_file(file), m_scanner(scanner) {}

    int Run()
    {
        m_buffer.reset(static_cast<unsigned char *>(std::malloc(kReadBlock)));
        if (!m_buffer)
            return -ENOMEM;
        size_t pieceStart = 0; // the piece [pieceStart, pieceStart + limit)
        size_t scanFrom = 0;   // bytes before it were carried over
        bool newlineResets = m_scanner.NewlineResets();
        for (;;) {
            Fill(pieceStart);
            pieceStart -= m_shift;
            scanFrom -= m_shift;
            if (newlineResets && pieceStart == scanFrom) {
                // At a line start: the whole lines ahead that need no cut
                // are one piece as good as many, since the newline between
                // them brings the automaton back to its start anyway.
                size_t linesEnd = ShortLinesEnd(scanFrom);
                if (linesEnd > scanFrom) {
                    unsigned char *from = m_buffer.get() + scanFrom;
                    if (!m_scanner.ScanStreams(from, m_buffer.get() + linesEnd))
                        return -ENOMEM;
                    m_scanner.Reset();
                    pieceStart = scanFrom = linesEnd;
                    continue;
                }
            }
            size_t available = std::min(m_length, pieceStart + OV_SCAN_LINE_LIMIT) - scanFrom;
            if (available == 0)
                return 0;
            unsigned char *from = m_buffer.get() + scanFrom;
            unsigned char *newline =
                static_cast<unsigned char *>(std::memchr(from, '\n', available));
            size_t pieceEnd = newline ? newline + 1 - m_buffer.get() : scanFrom + available;
            if (!m_scanner.Scan(m_buffer.get() + pieceStart, from, m_buffer.get() + pieceEnd))
                return -ENOMEM;
            if (newline) {
                m_scanner.Reset();
                pieceStart = scanFrom = pieceEnd;
            } else if (pieceEnd - pieceStart < OV_SCAN_LINE_LIMIT) {
                return 0; // the file ended without a newline
            } else {
                pieceStart = pieceEnd - (m_scanner.Depth() + 1);
                scanFrom = pieceEnd;
            }
        }
    }

private:
    // The end of the newline-ended lines of at most OV_SCAN_LINE_LIMIT bytes
    // in the buffer from start on.
    size_t ShortLinesEnd(size_t start) const
    {
        size_t end = start;
        while (end < m_length) {
            size_t room = std::min<size_t>(OV_SCAN_LINE_LIMIT, m_length - end);
            const void *newline = std::memchr(m_buffer.get() + end, '\n', room);
            if (!newline)
                break;
            end = static_cast<const unsigned char *>(newline) + 1 - m_buffer.get();
        }
        return end;
    }

    // Makes sure the bytes up to pieceStart + limit are read (or the file
    // ended), moving the bytes from pieceStart on to the front first when
    // they would not fit; m_shift tells by how much they moved.
    void Fill(size_t pieceStart)
    {
        m_shift = 0;
        if (m_eof || m_length >= pieceStart + OV_SCAN_LINE_LIMIT)
            return;
        if (pieceStart > 0) {
            std::memmove(m_buffer.get(), m_buffer.get() + pieceStart, m_length - pieceStart);
            m_length -= pieceStart;
            m_shift = pieceStart;
        }
        while (!m_eof && m_length < kReadBlock) {
            size_t got = std::fread(m_buffer.get() + m_length, 1, kReadBlock - m_length, m_file);
            m_length += got;
            if (got == 0)
                m_eof = true;
        }
    }

    struct FreeDeleter {
        void operator()(unsigned char *p) const { std::free(p); }
    };

    FILE *m_file;
    KeywordScanner &m_scanner;
    std::unique_ptr<unsigned char, FreeDeleter> m_buffer;
    size_t m_length = 0;
    size_t m_shift = 0;
    bool m_eof = false;
};

struct FileCloser {
    void operator()(FILE *file) const { std::fclose(file); }
};

} // namespace

int AhoCorasickStringSearch(KEYWORDTREE *tree, MEMBUF *membuf, const char *path, int caseSensitive,
                            int exactMatch, KEYWORD_MATCH_SET *matches)
{
    if (!tree || !tree->m_bBuilt || !matches)
        return -1;
    std::unique_ptr<FILE, FileCloser> file(path ? std::fopen(path, "rb") : nullptr);
    if (!file) {
        ovux_log->start() << "AhoCorasickStringSearch: fopen(" << path
                          << ") failed: " << Log::syserr() << Orvane::endl;
        return -ENOENT;
    }
    return AhoCorasickStreamSearch(tree, membuf, file.get(), caseSensitive, exactMatch, matches);
}

int AhoCorasickStreamSearch(KEYWORDTREE *tree, MEMBUF *membuf, FILE *text, int caseSensitive,
                            int exactMatch, KEYWORD_MATCH_SET *matches)
{
    if (!tree || !tree->m_bBuilt || !matches || !text)
        return -1;
    KeywordScanner scanner(tree, caseSensitive != 0, exactMatch != 0, matches);
    if (membuf && membuf->m_bInMemory)
        return ScanMemory(scanner, membuf, caseSensitive != 0);
    if (std::fseek(text, 0, SEEK_SET) != 0)
        return -EIO;
    return LineScan(text, scanner).Run();
}
