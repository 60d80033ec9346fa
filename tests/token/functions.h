// The functions of the module: what each takes and answers by itself, and what a test has told it.
#pragma once

#include <climits>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "layouts.h"

using List = CK_FUNCTION_LIST;
using Extended = CK_FUNCTION_LIST_3_2;
using Word = std::uintptr_t;

/// What a function takes and answers by itself, what a test has told it, and how many callers are in it.
struct Function
{
    const char* parameters;
    Values defaults;
    void (*install)(bool present);
    std::deque<Values> queue{};
    Values standing{};
    int admitted = INT_MAX; ///< callers that are not held inside
    int inside = 0;
};

/// By their names. Nothing here is ever destroyed: a process may end while callers are held.
std::map<std::string, Function>& functions();

/// The function lists that the module hands out; run() is behind every entry.
extern List list;
extern Extended extended;
CK_RV run(const char* name, const std::vector<Word>& words);
