#pragma once

// Walks over parts of a tree, without recursion and so at any depth. Thread: one compile.

#include <functional>

#include "frontend/syntax/ast_node.h"

// Hears of a node; the result says whether to go on.
using tvr_node_visitor = std::function<bool(const tvr_ast_node&)>;

// Visits the statements and the expressions in them that run in the statements' own scope: not
// what stands in loops, in try and inner blocks, in the bodies of conditions, nor in functions and
// classes, which are visited themselves. False from `visit` ends the walk.
void tvr_walk_own_expressions(tvr_ast_list<tvr_ast_node*> statements,
                              const tvr_node_visitor& visit);

// Visits everything below a node, in source order. False from `visit` passes over what stands
// below the node that was visited.
void tvr_walk_all(const tvr_ast_node& start, const tvr_node_visitor& visit);
