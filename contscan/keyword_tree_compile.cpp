// ConstructFailureLink: turns the keyword trie into the search form described
// in keyword_tree.h - byte classes, states numbered breadth first with their
// children side by side, failure and output-suffix links, next-state rows for
// the states nearest the start, and the outputs of the states that report.
#include <algorithm>
#include <cstring>
#include <new>

#include "contscan/keyword_tree.h"

namespace
{

// Next-state cells given to the rows when the tree does not fix a state
// count: eight per state (32 bytes), at least 256 K cells (1 MB: a small set
// gets rows for all its states), at most 4 M (16 MB: the first five or so
// bytes of every keyword of a set of 100 000, where a scan spends nearly all
// its time).
constexpr size_t kDenseCellsPerState = 8;
constexpr size_t kMinDenseCells = size_t{1} << 18;
constexpr size_t kMaxDenseCells = size_t{1} << 22;

// Gives every byte that occurs in a pattern its own class (1, 2, ... in byte
// order); bytes of no pattern share class 0, which always leads back to the
// empty state.
void AssignByteClasses(KEYWORDTREE *tree)
{
    bool used[256] = {};
    for (size_t i = 1; i < tree->m_Nodes.size(); ++i)
        used[tree->m_Nodes[i].m_cChar] = true;
    uint32_t next = 1;
    for (int c = 0; c < 256; ++c)
        tree->m_ByteClass[c] = used[c] ? static_cast<uint8_t>(next++) : 0;
    tree->m_nClasses = next;
}

// Appends the children of a trie node to the breadth-first order, sorted by
// byte; returns how many (at most 255: no pattern holds a NUL byte).
uint8_t AppendChildren(KEYWORDTREE *tree, uint32_t node)
{
    uint32_t children[256];
    uint8_t count = 0;
    for (uint32_t child = tree->m_Nodes[node].m_nFirstChild; child;
         child = tree->m_Nodes[child].m_nNextSibling)
        children[count++] = child;
    std::sort(children, children + count, [tree](uint32_t a, uint32_t b) {
        return tree->m_Nodes[a].m_cChar < tree->m_Nodes[b].m_cChar;
    });
    for (uint8_t i = 0; i < count; ++i) {
        tree->m_Nodes[children[i]].m_nState = static_cast<uint32_t>(tree->m_DepthNodes.size());
        tree->m_DepthNodes.push_back(children[i]);
    }
    return count;
}

// Gives a trie node its state number and the state what the node knows.
void TakeNode(KEYWORDTREE *tree, uint32_t node, uint32_t state, std::vector<uint32_t> &heads)
{
    const _KEYWORDTREE_NODE &n = tree->m_Nodes[node];
    tree->m_DepthNodes[state] = node;
    tree->m_States[state].m_nDepth = n.m_nDepth;
    tree->m_Labels[state] = tree->m_ByteClass[n.m_cChar];
    heads[state] = n.m_nOutput;
}

// Numbering for a trie whose patterns came in byte order: its nodes were then
// made in the order of their strings, so the nodes of one depth, taken in the
// order they were made, are already in breadth-first order, and a node's
// children are made one after another. One pass in node order does it.
void NumberStatesInOrder(KEYWORDTREE *tree, std::vector<uint32_t> &heads)
{
    uint32_t next[OV_KEYWORD_DEPTH_LISTS + 1] = {};
    for (size_t node = 1; node < tree->m_Nodes.size(); ++node)
        ++next[tree->m_Nodes[node].m_nDepth];
    uint32_t start = 1;
    for (uint32_t &first : next) {
        uint32_t count = first;
        first = start;
        start += count;
    }
    uint32_t latest[OV_KEYWORD_DEPTH_LISTS] = {}; // the newest state of each depth
    for (uint32_t node = 1; node < tree->m_Nodes.size(); ++node) {
        int depth = tree->m_Nodes[node].m_nDepth;
        uint32_t state = next[depth]++;
        TakeNode(tree, node, state, heads);
        tree->m_Nodes[node].m_nState = state;
        KeywordState &parent = tree->m_States[latest[depth - 1]];
        if (parent.m_nChildCount++ == 0)
            parent.m_nFirstChild = state;
        latest[depth] = state;
    }
}

// Numbering for any trie: a breadth-first walk of the child lists.
void NumberStatesByWalk(KEYWORDTREE *tree, std::vector<uint32_t> &heads)
{
    tree->m_DepthNodes.clear();
    tree->m_DepthNodes.push_back(0);
    KeywordState &empty = tree->m_States[0];
    empty.m_nFirstChild = 1;
    for (int c = 0; c < 256; ++c) {
        uint32_t master = tree->m_MasterNodes[c];
        if (!master)
            continue;
        tree->m_Nodes[master].m_nState = static_cast<uint32_t>(tree->m_DepthNodes.size());
        tree->m_DepthNodes.push_back(master);
        ++empty.m_nChildCount;
    }
    for (uint32_t state = 1; state < tree->m_DepthNodes.size(); ++state) {
        TakeNode(tree, tree->m_DepthNodes[state], state, heads);
        KeywordState &info = tree->m_States[state];
        info.m_nFirstChild = static_cast<uint32_t>(tree->m_DepthNodes.size());
        info.m_nChildCount = AppendChildren(tree, tree->m_DepthNodes[state]);
    }
}

// Numbers the states breadth first: 0 is the empty state, then the master
// nodes in byte order, then the children of each state in turn, in byte
// order. Notes each state's first own output record in heads.
bool NumberStates(KEYWORDTREE *tree, std::vector<uint32_t> &heads)
{
    size_t count = tree->m_Nodes.size(); // the empty state takes number 0
    if (!tree->m_States.Allocate(count))
        return false;
    std::fill(tree->m_States.begin(), tree->m_States.end(), KeywordState{});
    tree->m_DepthNodes.assign(count, 0);
    tree->m_Labels.assign(count, 0);
    heads.assign(count, 0);
    if (tree->m_bSortedInput)
        NumberStatesInOrder(tree, heads);
    else
        NumberStatesByWalk(tree, heads);
    return true;
}

// Copies the first children's byte classes into each state's record.
void InlineLabels(KEYWORDTREE *tree)
{
    for (KeywordState &info : tree->m_States) {
        for (int i = 0; i < info.m_nChildCount && i < OV_INLINE_LABELS; ++i)
            info.m_Labels[i] = tree->m_Labels[info.m_nFirstChild + i];
    }
}

// The largest start of a block of siblings at or below limit (at least 1),
// or the state count when limit reaches it: rows then never split a block.
size_t BlockStartAtOrBelow(KEYWORDTREE *tree, size_t limit)
{
    size_t states = tree->m_States.size();
    if (limit >= states)
        return states;
    size_t start = 1;
    for (const KeywordState &info : tree->m_States) {
        if (info.m_nChildCount && info.m_nFirstChild <= limit)
            start = std::max<size_t>(start, info.m_nFirstChild);
    }
    return start;
}

// Decides how many states get a row; false when the encoding of states would
// not fit in 31 bits or memory fails.
bool ChooseDenseStates(KEYWORDTREE *tree)
{
    size_t states = tree->m_DepthNodes.size();
    size_t budget =
        std::min(std::max(states * kDenseCellsPerState, kMinDenseCells), kMaxDenseCells);
    size_t dense = tree->m_nDenseLimit ? tree->m_nDenseLimit : budget / tree->m_nClasses;
    dense = BlockStartAtOrBelow(tree, std::max<size_t>(dense, 1));
    size_t cells = dense * tree->m_nClasses;
    if (cells + states >= (size_t{1} << 31))
        return false;
    if (!tree->m_Rows.Allocate(cells))
        return false;
    tree->m_nDenseStates = static_cast<uint32_t>(dense);
    tree->m_nSparseBias = static_cast<uint32_t>(cells - dense);
    return true;
}

// Numbers the states without a row again, depth first by blocks: each block
// of siblings stays side by side, and the block of a state's children follows
// the subtrees of its elder siblings rather than the rest of its depth. Deep
// in the tree, where most states have one child, a keyword's states then lie
// one after the other, and a scan going down one reads a cache line for
// several steps instead of one per step.
class DeepLayout
{
public:
    explicit DeepLayout(KEYWORDTREE *tree)
        : m_tree(tree), m_newId(tree->m_States.size()), m_next(tree->m_nDenseStates)
    {
    }

    // Renumbers; bfsOrder[k] is then the new number of the k-th state
    // breadth first (the order the links must be made in).
    void Apply(std::vector<uint32_t> &heads, std::vector<uint32_t> *bfsOrder)
    {
        const uint32_t dense = m_tree->m_nDenseStates;
        for (uint32_t state = 0; state < m_newId.size(); ++state)
            m_newId[state] = state < dense ? state : 0;
        for (uint32_t state = 0; state < dense; ++state) {
            const KeywordState &info = m_tree->m_States[state];
            if (info.m_nChildCount && info.m_nFirstChild >= dense)
                PlaceBlock(state);
        }
        Permute(heads);
        Permute(m_tree->m_Labels);
        Permute(m_tree->m_DepthNodes);
        std::vector<KeywordState> old(m_tree->m_States.begin(), m_tree->m_States.end());
        for (uint32_t state = 0; state < old.size(); ++state) {
            KeywordState info = old[state];
            if (info.m_nChildCount)
                info.m_nFirstChild = m_newId[info.m_nFirstChild];
            m_tree->m_States[m_newId[state]] = info;
            m_tree->m_Nodes[m_tree->m_DepthNodes[m_newId[state]]].m_nState = m_newId[state];
        }
        bfsOrder->swap(m_newId);
    }

private:
    // Numbers the children of parent, then, in turn, each child's subtree.
    void PlaceBlock(uint32_t parent)
    {
        const KeywordState &info = m_tree->m_States[parent];
        for (uint32_t child = info.m_nFirstChild; child < info.m_nFirstChild + info.m_nChildCount;
             ++child)
            m_newId[child] = m_next++;
        for (uint32_t child = info.m_nFirstChild; child < info.m_nFirstChild + info.m_nChildCount;
             ++child) {
            if (m_tree->m_States[child].m_nChildCount)
                PlaceBlock(child);
        }
    }

    template <typename T> void Permute(std::vector<T> &values) const
    {
        std::vector<T> placed(values.size());
        for (size_t state = 0; state < values.size(); ++state)
            placed[m_newId[state]] = values[state];
        values.swap(placed);
    }

    KEYWORDTREE *m_tree;
    std::vector<uint32_t> m_newId; // by breadth-first number
    uint32_t m_next;
};

// The state reached from state by a byte of class c (c > 0), through the
// rows and failure links made so far.
uint32_t NextState(const KEYWORDTREE *tree, uint32_t state, uint32_t c)
{
    for (;;) {
        if (state < tree->m_nDenseStates)
            return DecodeKeywordState(tree, tree->m_Rows[state * tree->m_nClasses + c]);
        const KeywordState &info = tree->m_States[state];
        if (uint32_t child = FindStateChild(tree, info, c))
            return child;
        state = info.m_nFailure;
    }
}

// Failure links of the children of state, their nearest suffix states with
// own outputs (suffix), and their output bits.
void LinkChildren(KEYWORDTREE *tree, uint32_t state, const std::vector<uint32_t> &heads,
                  std::vector<uint32_t> &suffix)
{
    const KeywordState &info = tree->m_States[state];
    for (uint32_t child = info.m_nFirstChild; child < info.m_nFirstChild + info.m_nChildCount;
         ++child) {
        uint32_t failure = state == 0 ? 0 : NextState(tree, info.m_nFailure, tree->m_Labels[child]);
        tree->m_States[child].m_nFailure = failure;
        suffix[child] = heads[failure] ? failure : suffix[failure];
        if (suffix[child] || heads[child])
            tree->m_OutputBits[child >> 6] |= uint64_t{1} << (child & 63);
    }
}

// The row of a dense state: its failure state's row with its own children
// put in.
void FillRow(KEYWORDTREE *tree, uint32_t state)
{
    uint32_t width = tree->m_nClasses;
    uint32_t *row = &tree->m_Rows[size_t{state} * width];
    const KeywordState &info = tree->m_States[state];
    if (state == 0)
        std::fill(row, row + width, 0);
    else
        std::memcpy(row, &tree->m_Rows[size_t{info.m_nFailure} * width], width * sizeof *row);
    for (uint32_t child = info.m_nFirstChild; child < info.m_nFirstChild + info.m_nChildCount;
         ++child)
        row[tree->m_Labels[child]] = EncodeKeywordState(tree, child);
}

// Lists, for every state that reports, its own output records (newest first,
// as the trie node holds them), its suffix link and its depth; false when
// memory fails.
bool CollectOutputs(KEYWORDTREE *tree, const std::vector<uint32_t> &heads,
                    const std::vector<uint32_t> &suffix)
{
    size_t words = tree->m_OutputBits.size();
    tree->m_OutputRank.assign(words, 0);
    uint32_t reporting = 0;
    for (size_t w = 0; w < words; ++w) {
        tree->m_OutputRank[w] = reporting;
        reporting += static_cast<uint32_t>(__builtin_popcountll(tree->m_OutputBits[w]));
    }
    if (!tree->m_StateOutputs.Allocate(reporting) ||
        !tree->m_Outputs.Allocate(tree->m_Results.size() - 1))
        return false;
    uint32_t written = 0, listed = 0;
    uint32_t states = static_cast<uint32_t>(tree->m_States.size());
    for (uint32_t state = 1; state < states; ++state) {
        if (!KeywordStateHasOutput(tree, state))
            continue;
        KeywordStateOutputs &outputs = tree->m_StateOutputs[listed++];
        outputs = KeywordStateOutputs{written, 0, suffix[state], tree->m_States[state].m_nDepth};
        for (uint32_t r = heads[state]; r; r = tree->m_Results[r].m_nNext) {
            const _RESULT_NODE &result = tree->m_Results[r];
            tree->m_Outputs[written++] =
                KeywordOutput{result.m_pPolicy, result.m_pKeywordList, result.m_pKeyword};
        }
        outputs.m_nCount = written - outputs.m_nFirst;
    }
    return true;
}

} // namespace

int ConstructFailureLink(KEYWORDTREE *tree)
{
    if (!tree || tree->m_bBuilt)
        return 0;
    try {
        AssignByteClasses(tree);
        std::vector<uint32_t> heads;
        if (!NumberStates(tree, heads))
            return 0;
        if (!ChooseDenseStates(tree))
            return 0;
        std::vector<uint32_t> bfsOrder;
        DeepLayout(tree).Apply(heads, &bfsOrder);
        InlineLabels(tree);
        uint32_t states = static_cast<uint32_t>(tree->m_DepthNodes.size());
        tree->m_OutputBits.assign(states / 64 + 1, 0);
        std::vector<uint32_t> suffix(states, 0);
        for (uint32_t state : bfsOrder) {
            LinkChildren(tree, state, heads, suffix);
            if (state < tree->m_nDenseStates)
                FillRow(tree, state);
        }
        if (!CollectOutputs(tree, heads, suffix))
            return 0;
    } catch (const std::bad_alloc &) {
        return 0;
    }
    tree->m_bBuilt = true;
    return 1;
}
