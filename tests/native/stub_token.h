// The functions of the stub module for the tests of every method: they log their arguments and return plain results.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "module_functions.h"

#ifdef _WIN32
constexpr bool packed = true;
#else
constexpr bool packed = false;
#endif

struct StubToken
{
    // Set by the test:
    CK_RV rv = CKR_OK;                          ///< of every call
    bool canLock = true;                        ///< whether C_Initialize accepts locking by the system
    int monitor = 0;                            ///< the number of times that a call must find it held
    bool spoils = false;                        ///< whether it wipes the templates that it has read
    std::string answer;                         ///< the bytes of output
    std::map<CK_ULONG, std::string> attributes; ///< the values of any object

    // The calls: "C_Name argument argument", separated by "; ", with numbers in hexadecimal.
    std::string log;
    CK_ULONG handle = 0x11;      ///< the next one that a call returns
    std::vector<CK_ULONG> made;  ///< sessions and objects that calls have created
    std::vector<CK_ULONG> ended; ///< those that were closed or destroyed
};

extern StubToken token;

/// The bytes of a CK_ULONG.
std::string ulongBytes(CK_ULONG value);
