// A Cryptoki module that returns and writes what the input says: wrong lengths, wide handles, pointers that it has
// moved. It never writes outside the memory that it was given.
#pragma once

#include <vector>

#include "fake_jni.h"
#include "input.h"
#include "module_functions.h"

struct HostileToken
{
    const Object* parameter = nullptr; ///< Java's, of the current call's mechanism
    bool hasSpoilt = false;            ///< whether it has changed the mechanism, which a second call would meet

    // Since the current call began:
    std::vector<CK_ULONG> made;  ///< sessions and objects that it has created
    std::vector<CK_ULONG> ended; ///< those that it was called to close or destroy
};

extern HostileToken hostile;
