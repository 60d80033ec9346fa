// The functions of the scripted module, and a call of one: its arguments by the kinds in the table of functions.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>
#include <deque>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "layouts.h"

using List = CK_FUNCTION_LIST;
using Extended = CK_FUNCTION_LIST_3_2;
using Word = std::uintptr_t;

/// Parameters and default answer of a function, the answers that a test has set, and the number of callers in it.
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

/// The function lists of the module; run() is behind every entry.
extern List list;
extern Extended extended;
CK_RV run(const char* name, const std::vector<Word>& words);

/// One call: its arguments are first shown, then answered, in the order of the parameters.
struct Call
{
    const Values* values = nullptr;
    bool failing = false; ///< the answer is an error: only what it names is written
    CK_RV rv = CKR_OK;
    std::string text{};
    bool isQuery = false; ///< of the size of an output: nothing is created
    std::string input{};  ///< the first input, which is also the output unless the answer has one
};

struct Argument
{
    std::string name;
    std::string kind;
    const Word* words;

    bool isHandle() const
    {
        return name == "session" || name == "source" || name.starts_with("object") || name.ends_with("key") ||
               name.ends_with("Key");
    }

    bool is(std::initializer_list<std::string_view> kinds) const
    {
        return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
    }
};

std::vector<Argument> argumentsOf(const Function& function, const std::vector<Word>& words);

template <typename T>
T* pointer(Word word)
{
    return reinterpret_cast<T*>(word);
}

/// Appends an argument to the text of the call.
void show(Call& call, const Argument& argument);

/// Writes the output of an argument. `nextObject` is the handle of an object that the answer does not name.
void answer(Call& call, const Argument& argument, CK_OBJECT_HANDLE& nextObject);
