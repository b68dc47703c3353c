// Building the keyword automaton: the trie of all patterns of a policy set
// (BuildKeywordTree, AddPatternToKeywordTree and the node helpers) and
// freeing it. ConstructFailureLink (keyword_tree_compile.cpp) turns the trie
// into the search form.
//
// BuildKeywordTree adds the patterns sorted by text (patterns of the same
// text keep their order, so the records they report come out alike): the
// child a pattern looks for is then always the newest of its parent, found
// first in its list, and a large keyword set builds in one quick pass.
#include <algorithm>
#include <cstring>
#include <new>

#include "base/log.h"
#include "contscan/keyword_tree.h"

KEYWORDTREE *InitKeywordTree()
{
    KEYWORDTREE *tree = new (std::nothrow) KEYWORDTREE;
    if (!tree)
        return nullptr;
    std::memset(tree->m_MasterNodes, 0, sizeof tree->m_MasterNodes);
    std::memset(tree->m_ByteClass, 0, sizeof tree->m_ByteClass);
    try {
        tree->m_Nodes.resize(1); // number 0 stands for "none"
        tree->m_Results.resize(1);
    } catch (const std::bad_alloc &) {
        delete tree;
        return nullptr;
    }
    return tree;
}

uint32_t FindChildNode(const KEYWORDTREE *tree, uint32_t node, unsigned char c)
{
    if (!tree || node == 0 || node >= tree->m_Nodes.size())
        return 0;
    uint32_t child = tree->m_Nodes[node].m_nFirstChild;
    while (child && tree->m_Nodes[child].m_cChar != c)
        child = tree->m_Nodes[child].m_nNextSibling;
    return child;
}

namespace
{

// Appends a node; 0 when memory fails.
uint32_t NewNode(KEYWORDTREE *tree, unsigned char c, int depth)
{
    try {
        tree->m_Nodes.push_back(
            _KEYWORDTREE_NODE{static_cast<uint8_t>(c), static_cast<uint8_t>(depth), 0, 0, 0, 0});
    } catch (const std::bad_alloc &) {
        return 0;
    }
    return static_cast<uint32_t>(tree->m_Nodes.size() - 1);
}

} // namespace

uint32_t CreateMasterNode(KEYWORDTREE *tree, unsigned char c)
{
    uint32_t node = NewNode(tree, c, 1);
    if (node)
        tree->m_MasterNodes[c] = node;
    return node;
}

uint32_t CreateChildNode(KEYWORDTREE *tree, uint32_t parent, unsigned char c, int index)
{
    uint32_t node = NewNode(tree, c, index + 1);
    if (node) {
        tree->m_Nodes[node].m_nNextSibling = tree->m_Nodes[parent].m_nFirstChild;
        tree->m_Nodes[parent].m_nFirstChild = node;
    }
    return node;
}

int AddPatternToKeywordTree(KEYWORDTREE *tree, const char *pattern, POLICY_STRU *policy,
                            KEYWORDLIST_STRU *list, void *keyword)
{
    if (!tree || tree->m_bBuilt || !pattern || !pattern[0])
        return 0;
    size_t length = std::strlen(pattern);
    if (length >= static_cast<size_t>(OV_KEYWORD_DEPTH_LISTS))
        return 0;
    if (tree->m_pszLastPattern && std::strcmp(pattern, tree->m_pszLastPattern) < 0)
        tree->m_bSortedInput = false;
    tree->m_pszLastPattern = pattern;
    const unsigned char *bytes = reinterpret_cast<const unsigned char *>(pattern);
    uint32_t node = tree->m_MasterNodes[bytes[0]];
    if (!node && !(node = CreateMasterNode(tree, bytes[0])))
        return 0;
    for (size_t i = 1; i < length; ++i) {
        uint32_t child = FindChildNode(tree, node, bytes[i]);
        if (!child && !(child = CreateChildNode(tree, node, bytes[i], static_cast<int>(i))))
            return 0;
        node = child;
    }
    try {
        tree->m_Results.push_back(
            _RESULT_NODE{pattern, policy, list, keyword, tree->m_Nodes[node].m_nOutput});
    } catch (const std::bad_alloc &) {
        return 0;
    }
    tree->m_Nodes[node].m_nOutput = static_cast<uint32_t>(tree->m_Results.size() - 1);
    return 1;
}

namespace
{

struct PendingPattern {
    const char *text;
    POLICY_STRU *policy;
    KEYWORDLIST_STRU *list;
    void *keyword;
};

// A pattern's place in the sorted order: its first eight bytes as a number
// that sorts like the text, and its place among the patterns.
struct SortEntry {
    uint64_t key;
    uint32_t index;
};

uint64_t SortKey(const char *text)
{
    uint64_t key = 0;
    int i = 0;
    for (; i < 8 && text[i]; ++i)
        key = (key << 8) | static_cast<unsigned char>(text[i]);
    return i == 0 ? 0 : key << (8 * (8 - i));
}

// Collects every pattern of one enabled policy, in the order the automaton
// reports patterns of the same text: each list's keywords (with their
// synonyms when the policy has them on), then the no-action keywords.
void CollectPolicyPatterns(POLICY_STRU *policy, std::vector<PendingPattern> &patterns)
{
    for (KEYWORDLIST_STRU *list = policy->m_pFirstKeywordList; list; list = list->m_pNext) {
        for (KEYWORD_STRU *keyword = list->m_pFirstKeyword; keyword; keyword = keyword->m_pNext) {
            patterns.push_back({keyword->m_szText, policy, list, keyword});
            if (!policy->m_bSynonymEnabled)
                continue;
            for (SYNONYM_STRU *synonym = keyword->m_pFirstSynonym; synonym;
                 synonym = synonym->m_pNext)
                patterns.push_back({synonym->m_szText, policy, list, keyword});
        }
    }
    for (NOACTION_KEYWORD_STRU *word = policy->m_pFirstNoAction; word; word = word->m_pNext)
        patterns.push_back({word->m_szText, policy, nullptr, word});
}

// Adds the patterns in byte order of their texts (patterns of the same text
// keep their order): each pattern then shares its path with the one before,
// whose nodes are the newest children along it, so that every child looked
// up is the first of its list.
void AddPatternsInOrder(KEYWORDTREE *tree, const std::vector<PendingPattern> &patterns)
{
    std::vector<SortEntry> order(patterns.size());
    size_t bytes = 0;
    for (size_t i = 0; i < patterns.size(); ++i) {
        order[i] = SortEntry{SortKey(patterns[i].text), static_cast<uint32_t>(i)};
        bytes += strnlen(patterns[i].text, OV_KEYWORD_DEPTH_LISTS);
    }
    std::sort(order.begin(), order.end(), [&patterns](const SortEntry &a, const SortEntry &b) {
        if (a.key != b.key)
            return a.key < b.key;
        if ((a.key & 0xff) != 0) { // both go on past their first eight bytes
            int byText = std::strcmp(patterns[a.index].text + 8, patterns[b.index].text + 8);
            if (byText != 0)
                return byText < 0;
        }
        return a.index < b.index;
    });
    tree->m_Nodes.reserve(bytes + 1);
    tree->m_Results.reserve(patterns.size() + 1);
    constexpr size_t kLookAhead = 8; // texts are scattered: fetch them early
    for (size_t i = 0; i < order.size(); ++i) {
        if (i + kLookAhead < order.size())
            __builtin_prefetch(patterns[order[i + kLookAhead].index].text);
        const PendingPattern &p = patterns[order[i].index];
        AddPatternToKeywordTree(tree, p.text, p.policy, p.list, p.keyword);
    }
}

} // namespace

int BuildKeywordTree(POLICYSET *set)
{
    if (!set)
        return 0;
    FreeKeywordTree(set->m_pKeywordTree);
    set->m_pKeywordTree = nullptr;
    KEYWORDTREE *tree = InitKeywordTree();
    if (!tree) {
        ovux_log->start() << "BuildKeywordTree: InitKeywordTree() failed!" << Orvane::endl;
        return 0;
    }
    try {
        std::vector<PendingPattern> patterns;
        for (POLICY_STRU *policy = set->m_pFirstPolicy; policy; policy = policy->m_pNext) {
            if (policy->m_bEnabled)
                CollectPolicyPatterns(policy, patterns);
        }
        AddPatternsInOrder(tree, patterns);
    } catch (const std::bad_alloc &) {
        ovux_log->start() << "BuildKeywordTree: out of memory" << Orvane::endl;
        FreeKeywordTree(tree);
        return 0;
    }
    if (!ConstructFailureLink(tree)) {
        ovux_log->start() << "BuildKeywordTree: ConstructFailureLink() failed!" << Orvane::endl;
        FreeKeywordTree(tree);
        return 0;
    }
    FreeDepthNodes(tree);
    FreeTreeNode(tree);
    set->m_pKeywordTree = tree;
    return 1;
}

void FreeDepthNodes(KEYWORDTREE *tree)
{
    if (tree)
        std::vector<uint32_t>().swap(tree->m_DepthNodes);
}

void FreeTreeNode(KEYWORDTREE *tree)
{
    if (!tree)
        return;
    std::vector<_KEYWORDTREE_NODE>().swap(tree->m_Nodes);
    std::vector<_RESULT_NODE>().swap(tree->m_Results);
    std::memset(tree->m_MasterNodes, 0, sizeof tree->m_MasterNodes);
}

void FreeKeywordTree(KEYWORDTREE *tree)
{
    delete tree;
}

size_t KeywordTreeMemory(const KEYWORDTREE *tree)
{
    if (!tree)
        return 0;
    return sizeof *tree + tree->m_Nodes.capacity() * sizeof(_KEYWORDTREE_NODE) +
           tree->m_Results.capacity() * sizeof(_RESULT_NODE) +
           tree->m_DepthNodes.capacity() * sizeof(uint32_t) +
           size_t{tree->m_nDenseStates} * tree->m_nClasses * sizeof(uint32_t) +
           tree->m_States.size() * sizeof(KeywordState) + tree->m_Labels.capacity() +
           tree->m_OutputBits.capacity() * sizeof(uint64_t) +
           tree->m_OutputRank.capacity() * sizeof(uint32_t) +
           tree->m_StateOutputs.size() * sizeof(KeywordStateOutputs) +
           tree->m_Outputs.size() * sizeof(KeywordOutput);
}
