// A Cryptoki module that answers and writes what an input says: wrong lengths, wide handles, pointers that it has
// moved. It never writes where it was given no room.
#pragma once

#include <cstdint>
#include <vector>

#include "bridge/cryptoki_parameters.h"
#include "input.h"

struct HostileToken
{
    Input* input = nullptr;
    bool knowsParameter = true; ///< whether a mechanism's parameter is what the mechanism takes

    bool hasMoved = false; ///< whether it has moved a pointer of the mechanism, which it would meet when asked again

    // What has happened since the test last looked:
    std::vector<CK_ULONG> made;  ///< sessions and objects that calls have handed out
    std::vector<CK_ULONG> ended; ///< those that it was asked to end
    CK_ULONG asked = 0;          ///< the session or object of the last call
};

extern HostileToken hostile;

/// Puts the functions into a function list, but for one that is null; none for a number of no function.
void fillHostileList(CK_FUNCTION_LIST* list, std::size_t missing);
