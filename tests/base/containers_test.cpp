// Tree: a deep chain is walked and freed without recursion.
#include "base/containers.h"

#include <gtest/gtest.h>

namespace {

TEST(ContainersTest, DeepTreeIsWalkedAndFreedWithoutRecursion)
{
    Tree<int> tree;
    TreeIter<int> it(tree);
    for (int depth = 0; depth < 200000; ++depth) {
        it.add_child(depth);
        it.down();
    }
    int visited = 0;
    for (it.top(); it.next();)
        ++visited;
    EXPECT_EQ(200000, visited);
    EXPECT_TRUE(it.remove() || it.at_top());
}

} // namespace
