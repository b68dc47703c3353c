// The keyword automaton: every keyword, synonym and no-action keyword of the
// enabled policies compiled into one Aho-Corasick automaton, so that a mail is
// read once whatever the number of keywords.
//
//   BuildKeywordTree(set);                        // after ReadPolicy
//   KEYWORD_MATCH_SET hits = {};
//   AhoCorasickStringSearch(set->m_pKeywordTree, membuf, path,
//                           set->m_bCaseSensitive, set->m_bExactMatch, &hits);
//   ... one KEYWORD_MATCH_INFO per hit, in text order ...
//   FreeKeywordMatchSet(&hits);
//
// Building goes through a trie of 20-byte nodes: AddPatternToKeywordTree
// walks it from the master node of the pattern's first byte (there is no
// explicit root), creating nodes as needed; children are a list, the newest
// first; the pattern's output record goes to the head of its last node's
// output list, so the same text added twice reports twice. Patterns that are
// empty or 81 bytes and longer are skipped.
//
// ConstructFailureLink then turns the trie into the search form: states
// numbered breadth first, the failure links, a next-state row per byte class
// for the states nearest the start (where a scan spends most of its time)
// and, for deeper states, a 16-byte record holding the failure link and the
// bytes of the first children, searched in turn before the failure link is
// followed. A state's children are always neighbours; the deeper states are
// numbered again depth first by blocks of siblings, so that the states of one
// keyword's tail lie one after the other and a scan going down it reads one
// cache line for several steps. Instead of copying the outputs of a state's
// failure state into its own list, each state links to the nearest shorter
// suffix state with outputs of its own; a hit reports those first (shortest
// suffix first), then the state's own - the order the failure state's list,
// put as a whole in front of the state's own, would give. FreeDepthNodes
// and FreeTreeNode drop what only the build needs.
//
// A search reads the tree only, so any number of threads may search at once.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "contscan/huge_page_array.h"
#include "contscan/policy.h"
#include "ov/contscan.h"

// Longest pattern the automaton takes, plus one (the keyword field size).
constexpr int OV_KEYWORD_DEPTH_LISTS = OV_POLICY_NAME_SIZE;
// File-mode text is scanned in lines of at most this many bytes.
constexpr int OV_SCAN_LINE_LIMIT = 999;

// A trie node while the automaton is built; nodes, like output records, are
// numbered from 1 within the tree (0 means none).
struct _KEYWORDTREE_NODE {
    uint8_t m_cChar;        // the byte that leads into this node
    uint8_t m_nDepth;       // length of the string it stands for
    uint32_t m_nOutput;     // first output record
    uint32_t m_nFirstChild; // newest child first
    uint32_t m_nNextSibling;
    uint32_t m_nState; // its state in the search form, once numbered
};

// One pattern ending at a node: the text and the records it stands for.
struct _RESULT_NODE {
    const char *m_pszPattern;
    POLICY_STRU *m_pPolicy;
    KEYWORDLIST_STRU *m_pKeywordList; // null for a no-action keyword
    void *m_pKeyword;                 // KEYWORD_STRU (a synonym's owner) or NOACTION_KEYWORD_STRU
    uint32_t m_nNext;
};

// One hit of a search.
struct KEYWORD_MATCH_INFO {
    POLICY_STRU *m_pPolicy;
    KEYWORDLIST_STRU *m_pKeywordList; // null for a no-action keyword
    void *m_pKeyword;                 // KEYWORD_STRU, or NOACTION_KEYWORD_STRU without a list
    KEYWORD_MATCH_INFO *m_pNext;
};

// The hits of one search, in text order. Records are allocated in blocks
// that FreeKeywordMatchSet releases; start from a zeroed set.
struct KeywordMatchBlock;
struct KEYWORD_MATCH_SET {
    KEYWORD_MATCH_INFO *m_pFirst;
    KEYWORD_MATCH_INFO *m_pLast;
    KeywordMatchBlock *m_pBlocks;
};

// What a hit reports: the three fields a match record copies.
struct KeywordOutput {
    POLICY_STRU *m_pPolicy;
    KEYWORDLIST_STRU *m_pKeywordList;
    void *m_pKeyword;
};

// Per state of the search form, one 16-byte record, so that a step through
// a state without a row mostly reads one cache line.
constexpr int OV_INLINE_LABELS = 6;
struct alignas(16) KeywordState {
    uint32_t m_nFailure;
    uint32_t m_nFirstChild; // children are the states [first, first + count)
    uint8_t m_nChildCount;
    uint8_t m_nDepth;
    uint8_t m_Labels[OV_INLINE_LABELS]; // byte classes of the first children
};

// What a state that reports something reports.
struct KeywordStateOutputs {
    uint32_t m_nFirst; // own outputs: m_Outputs[first, first + count)
    uint32_t m_nCount;
    uint32_t m_nSuffix; // nearest shorter suffix state with own outputs, 0 none
    uint32_t m_nDepth;
};

struct KEYWORDTREE {
    // Build form.
    uint32_t m_MasterNodes[256];
    std::vector<_KEYWORDTREE_NODE> m_Nodes; // [0] unused
    std::vector<_RESULT_NODE> m_Results;    // [0] unused
    std::vector<uint32_t> m_DepthNodes;     // trie node of each state, breadth first
    const char *m_pszLastPattern = nullptr; // the pattern added last
    bool m_bSortedInput = true;             // each pattern came after the one before

    // Search form. State 0 is the empty state (before any byte of a line).
    // A running state is encoded as (slot << 1) | has-output, where the slot
    // of a state below m_nDenseStates is the start of its row in m_Rows
    // (state * m_nClasses), and that of a deeper state its number plus
    // m_nSparseBias.
    uint8_t m_ByteClass[256]; // 0: in no pattern
    uint32_t m_nClasses = 1;
    uint32_t m_nDenseStates = 0;
    uint32_t m_nSparseBias = 0;
    uint32_t m_nDenseLimit = 0;     // 0: chosen by size
    HugePageArray<uint32_t> m_Rows; // m_nDenseStates * m_nClasses
    HugePageArray<KeywordState> m_States;
    std::vector<uint8_t> m_Labels;                     // byte class leading into each state
    std::vector<uint64_t> m_OutputBits;                // states that report something
    std::vector<uint32_t> m_OutputRank;                // such states before each 64
    HugePageArray<KeywordStateOutputs> m_StateOutputs; // one per such state, in order
    HugePageArray<KeywordOutput> m_Outputs;
    bool m_bBuilt = false;
};

// Helpers of the search form shared by the build and the search.
inline bool KeywordStateHasOutput(const KEYWORDTREE *tree, uint32_t state)
{
    return (tree->m_OutputBits[state >> 6] >> (state & 63)) & 1;
}

// The outputs of a state that has some.
inline const KeywordStateOutputs &KeywordStateOutputsOf(const KEYWORDTREE *tree, uint32_t state)
{
    uint64_t below = tree->m_OutputBits[state >> 6] & ((uint64_t{1} << (state & 63)) - 1);
    return tree->m_StateOutputs[tree->m_OutputRank[state >> 6] +
                                static_cast<uint32_t>(__builtin_popcountll(below))];
}

inline uint32_t EncodeKeywordState(const KEYWORDTREE *tree, uint32_t state)
{
    uint32_t slot =
        state < tree->m_nDenseStates ? state * tree->m_nClasses : state + tree->m_nSparseBias;
    return (slot << 1) | (KeywordStateHasOutput(tree, state) ? 1 : 0);
}

inline uint32_t DecodeKeywordState(const KEYWORDTREE *tree, uint32_t encoded)
{
    uint32_t slot = encoded >> 1;
    return slot < tree->m_nDenseStates * tree->m_nClasses ? slot / tree->m_nClasses
                                                          : slot - tree->m_nSparseBias;
}

// The child of state reached by byte class c, or 0 (never a child) when
// there is none.
inline uint32_t FindStateChild(const KEYWORDTREE *tree, const KeywordState &info, uint32_t c)
{
    int inlined = info.m_nChildCount < OV_INLINE_LABELS ? info.m_nChildCount : OV_INLINE_LABELS;
    for (int i = 0; i < inlined; ++i) {
        if (info.m_Labels[i] == c)
            return info.m_nFirstChild + static_cast<uint32_t>(i);
    }
    for (uint32_t child = info.m_nFirstChild + OV_INLINE_LABELS;
         child < info.m_nFirstChild + info.m_nChildCount; ++child) {
        if (tree->m_Labels[child] == c)
            return child;
    }
    return 0;
}

KEYWORDTREE *InitKeywordTree();
// Builds the automaton of the set's enabled policies into its tree field
// (replacing one built before). 1 on success, 0 when memory failed (the
// tree field is then null).
int BuildKeywordTree(POLICYSET *set);
// 1 when added, 0 when skipped (null, empty or too long) or out of memory.
int AddPatternToKeywordTree(KEYWORDTREE *tree, const char *pattern, POLICY_STRU *policy,
                            KEYWORDLIST_STRU *list, void *keyword);
uint32_t FindChildNode(const KEYWORDTREE *tree, uint32_t node, unsigned char c);
uint32_t CreateMasterNode(KEYWORDTREE *tree, unsigned char c);
uint32_t CreateChildNode(KEYWORDTREE *tree, uint32_t parent, unsigned char c, int index);
// Makes the search form; 1 on success, 0 when memory failed.
int ConstructFailureLink(KEYWORDTREE *tree);
void FreeDepthNodes(KEYWORDTREE *tree);
void FreeTreeNode(KEYWORDTREE *tree);
void FreeKeywordTree(KEYWORDTREE *tree);
// Bytes the tree holds.
size_t KeywordTreeMemory(const KEYWORDTREE *tree);

// 0 on success, -1 for a null tree, -ENOENT when the file at path cannot be
// opened (also in memory mode). Hits are appended to matches.
int AhoCorasickStringSearch(KEYWORDTREE *tree, MEMBUF *membuf, const char *path, int caseSensitive,
                            int exactMatch, KEYWORD_MATCH_SET *matches);
// The same over a text file already open for reading (read from its start,
// only when the text is not in memory); -1 for a null tree or file.
int AhoCorasickStreamSearch(KEYWORDTREE *tree, MEMBUF *membuf, FILE *text, int caseSensitive,
                            int exactMatch, KEYWORD_MATCH_SET *matches);
// Appends a copy of the output's three fields; 0 when memory failed.
int AddKeywordMatchInfo(KEYWORD_MATCH_SET *matches, const KeywordOutput *output);
// Moves the records of from behind those of to, leaving from empty.
void AppendKeywordMatchSet(KEYWORD_MATCH_SET *to, KEYWORD_MATCH_SET *from);
void FreeKeywordMatchSet(KEYWORD_MATCH_SET *matches);
