// List, Tree with its iterator, Stack and SmartPtr.
#include "base/containers.h"

#include <string>

#include <gtest/gtest.h>

namespace {

std::string pre_order(Tree<std::string> &tree)
{
    std::string all;
    TreeIter<std::string> it(tree);
    while (it.next())
        all += *it + " ";
    return all;
}

TEST(ContainersTest, TreeIteratorMovesAddsAndRemoves)
{
    Tree<std::string> tree("root");
    TreeIter<std::string> it(tree);
    EXPECT_EQ("", pre_order(tree));
    EXPECT_FALSE(it.down());
    EXPECT_FALSE(it.remove());
    it.add_child("a");
    it.add_child("b");
    it.add_child("c");
    ASSERT_TRUE(it.down());
    EXPECT_EQ("a", *it);
    it.add_child("a1");
    it.add_child("a2");
    EXPECT_TRUE(it.right());
    EXPECT_EQ("b", *it);
    it.add_child("b1");
    it.top();
    ASSERT_TRUE(it.down_last());
    EXPECT_EQ("c", *it);
    EXPECT_FALSE(it.right());
    EXPECT_TRUE(it.left());
    EXPECT_TRUE(it.down());
    EXPECT_EQ("b1", *it);
    EXPECT_TRUE(it.up());
    EXPECT_EQ("b", *it);
    EXPECT_EQ("a a1 a2 b b1 c ", pre_order(tree));

    EXPECT_TRUE(it.remove());   // b and b1 go, back at the root
    EXPECT_TRUE(it.at_top());
    EXPECT_EQ("a a1 a2 c ", pre_order(tree));
    it.down();
    it.down_last();
    EXPECT_TRUE(it.remove());
    EXPECT_EQ("a", *it);
    EXPECT_EQ("a a1 c ", pre_order(tree));
    tree.clear();
    EXPECT_TRUE(tree.empty());
}

TEST(ContainersTest, DeepTreeIsFreedWithoutRecursion)
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
}

TEST(ContainersTest, ListStackSmartPtr)
{
    List<int> list;
    list.append(2);
    list.prepend(1);
    list.append(3);
    EXPECT_EQ(3u, list.count());
    EXPECT_EQ(3, *list.at(2));
    EXPECT_EQ(nullptr, list.at(3));
    EXPECT_EQ(2, *std::next(list.begin()));

    Stack<int> stack;
    int top = 0;
    EXPECT_FALSE(stack.pop(&top));
    stack.push(1);
    stack.push(2);
    EXPECT_TRUE(stack.pop(&top));
    EXPECT_EQ(2, top);
    EXPECT_EQ(1, stack.top());

    SmartPtr<std::string> owner(new std::string("shared"));
    {
        SmartPtr<std::string> copy = owner;
        EXPECT_EQ(2, owner.use_count());
    }
    EXPECT_EQ(1, owner.use_count());
}

} // namespace
