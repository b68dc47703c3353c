// The foundation's container templates in one include:
//   List<T>/ListItem<T>  ordered list (list.h)
//   Tree<T>/TreeNode<T>/TreeIter<T>  ordered tree and its walker (tree.h)
//   Stack<T>  last in, first out (stack.h)
//   SmartPtr<T>  reference-counted owner (smart_ptr.h)
#pragma once

#include "base/list.h"
#include "base/smart_ptr.h"
#include "base/stack.h"
#include "base/tree.h"
