// The exports of the scripted module: Cryptoki, and the function by which a test controls it.
#pragma once

#include "bridge/cryptoki.h"

#define EXPORTED __attribute__((visibility("default")))

extern "C" {

EXPORTED CK_RV C_GetFunctionList(CK_FUNCTION_LIST** to);
EXPORTED CK_RV C_GetInterface(const char* name, CK_VERSION* version, CK_INTERFACE** to, CK_FLAGS flags);

// A call is recorded as one line, the function's name and the arguments in the standard's order:
//
//   C_Login session=0x7 user=0x1 pin=31323334
//
// Numbers are hexadecimal with 0x, sizes decimal, bytes hexadecimal digits; a null pointer is "null", with its length
// behind a slash if that is not 0. The capacity of an output buffer is "capacity=16". Further:
//
//   template=[0x0@+48:0300000000000000 0x3@+56:6c]   types, values as a distance from the template's start, their bytes
//   template=[0x3@null/0 0x11@buffer/16]             attributes to be read
//   mechanism=0x1082 parameter=+24/16:00...          distance from the mechanism's start, length, bytes
//   mechanism=0x370 parameter=+24 CK_VERSION{...}    a structure's fields in order; its pointers are shown as a
//                                                    distance from the structure's start and what they lead to

/// Carries out one command and returns its result, which the caller frees. NAME is a Cryptoki function; WORDS are
/// "name=value" with the names that the call's line shows (`out` for a buffer). A value is a number in C notation,
/// hexadecimal bytes, 'text', or numbers divided by commas for a list. `rv=` is the code to return.
///
///   answer NAME WORDS        queues the answer to one call; `out.length=5` reports another length, `=keep`
///                            none; `scribble=1` writes over all input; `pIv.pointer=0` moves a parameter's pointer;
///                            `as=CK_GCM_PARAMS` is the structure of a mechanism's parameter; a template that is a
///                            value is `0x40000211=0x1:01,0x3:6162`
///   always NAME WORDS        answers every call that finds the queue empty
///   hold NAME N              keeps callers inside, after letting N of them through
///   release NAME             releases them
///   await NAME N             waits until N callers are inside, for some seconds
///   least-stack              the least bytes of stack that a call has found left
///   most-inside              the greatest number of callers inside the module at once
///   missing NAME             puts null into the function list
///   version MAJOR MINOR      sets the function list's version
///   list                     the function list's address, in decimal
///   calls                    the lines of the calls since the last time
///   made                     their number
///   reset                    removes all of the above and releases every caller
///   extended MAJOR MINOR     offers the functions of edition 3 under this version from here on; 0 0: none
///   wide                     returns handles of more than 32 bits from here on; calls and answers show the low 32
EXPORTED char* scriptedTokenCommand(const char* command);
}
