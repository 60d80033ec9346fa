// The functions of a stub module, which write down what they are called with. They know Cryptoki's structures by sizes
// and offsets alone: those of a Unix build, and those of a Windows build, packed to 1 byte around a CK_ULONG of 4.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#ifdef _WIN32
constexpr bool packed = true;
#else
constexpr bool packed = false;
#endif

struct StubToken
{
    // What the test sets:
    unsigned long rv = 0;                              ///< of every call
    bool canLock = true;                               ///< whether C_Initialize accepts locking by the system
    int monitor = 0;                                   ///< how often a call must find it held
    bool spoils = false;                               ///< whether it wipes the templates that it has read
    std::string answer;                                ///< the bytes of output and of information structures
    std::map<unsigned long, std::string> attributes;   ///< the values of any object
    std::string layout;                                ///< how to show a mechanism's parameter, see below
    std::vector<std::pair<int, std::string>> returned; ///< what the token writes into it, and where
    std::vector<std::pair<int, int>> moved;            ///< pointers in it, and where the token makes them lead
    std::vector<unsigned long> more;                   ///< handles among what it writes

    // What the calls were: "C_Name argument argument", divided by "; ", with numbers in hexadecimal.
    std::string log;
    unsigned long mechanism = 0;
    unsigned long handle = 0x11;      ///< the next one that a call hands out
    std::vector<unsigned long> made;  ///< sessions and objects that calls have made
    std::vector<unsigned long> ended; ///< those that it was asked to end
};

extern StubToken token;

// A layout is text that says how memory is to be shown, with what it should hold: "28" its length, "8:u12" a CK_ULONG
// at offset 8, "16:p40" a pointer to offset 40 ("p-": null), "12:b1" a byte, "28:x0a0b" bytes. Equal texts are equal
// memory.

/// The bytes of a CK_ULONG.
std::string ulongBytes(unsigned long value);

/// Puts the functions into a function list.
void fillFunctionList(int64_t list);
