// One call of the module: its arguments, by the kinds that the table of functions gives them.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "functions.h"

/// One call: first its arguments are shown in the order of the parameters, then, in the same order, answered.
struct Call
{
    const Values* values = nullptr;
    bool failing = false; ///< the answer is an error: only what it names is written
    CK_RV rv = CKR_OK;
    std::string text{};
    bool isQuery = false; ///< for the size of an output: nothing is created
    std::string input{};  ///< the first input, which is also the output for want of an answer
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

/// Writes an argument down as the call brings it.
void show(Call& call, const Argument& argument);

/// Writes what the answer says to where an argument leads. `nextObject` is the handle for an object without an answer.
void answer(Call& call, const Argument& argument, CK_OBJECT_HANDLE& nextObject);
