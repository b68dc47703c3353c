// The match set of one search: match records appended in the order of the
// hits, allocated in blocks (a mail with many hits costs one allocation per
// block, not one per hit) and freed together.
#include <cstdlib>

#include "contscan/keyword_tree.h"

struct KeywordMatchBlock {
    static constexpr uint32_t kRecords = 255;
    KeywordMatchBlock *m_pNext;
    uint32_t m_nUsed;
    KEYWORD_MATCH_INFO m_Records[kRecords];
};

int AddKeywordMatchInfo(KEYWORD_MATCH_SET *matches, const KeywordOutput *output)
{
    if (!matches || !output)
        return 0;
    KeywordMatchBlock *block = matches->m_pBlocks;
    if (!block || block->m_nUsed == KeywordMatchBlock::kRecords) {
        block = static_cast<KeywordMatchBlock *>(std::malloc(sizeof *block));
        if (!block)
            return 0;
        block->m_pNext = matches->m_pBlocks;
        block->m_nUsed = 0;
        matches->m_pBlocks = block;
    }
    KEYWORD_MATCH_INFO *info = &block->m_Records[block->m_nUsed++];
    info->m_pPolicy = output->m_pPolicy;
    info->m_pKeywordList = output->m_pKeywordList;
    info->m_pKeyword = output->m_pKeyword;
    info->m_pNext = nullptr;
    if (matches->m_pLast)
        matches->m_pLast->m_pNext = info;
    else
        matches->m_pFirst = info;
    matches->m_pLast = info;
    return 1;
}

void AppendKeywordMatchSet(KEYWORD_MATCH_SET *to, KEYWORD_MATCH_SET *from)
{
    if (!to || !from || !from->m_pFirst) {
        FreeKeywordMatchSet(from);
        return;
    }
    if (to->m_pLast)
        to->m_pLast->m_pNext = from->m_pFirst;
    else
        to->m_pFirst = from->m_pFirst;
    to->m_pLast = from->m_pLast;
    // The moved records stay in from's blocks, which go behind to's full
    // one: to keeps filling its own newest block.
    KeywordMatchBlock **tail = &from->m_pBlocks;
    while (*tail)
        tail = &(*tail)->m_pNext;
    if (to->m_pBlocks) {
        *tail = to->m_pBlocks->m_pNext;
        to->m_pBlocks->m_pNext = from->m_pBlocks;
    } else {
        to->m_pBlocks = from->m_pBlocks;
    }
    from->m_pFirst = from->m_pLast = nullptr;
    from->m_pBlocks = nullptr;
}

void FreeKeywordMatchSet(KEYWORD_MATCH_SET *matches)
{
    if (!matches)
        return;
    KeywordMatchBlock *block = matches->m_pBlocks;
    while (block) {
        KeywordMatchBlock *next = block->m_pNext;
        std::free(block);
        block = next;
    }
    matches->m_pFirst = matches->m_pLast = nullptr;
    matches->m_pBlocks = nullptr;
}
