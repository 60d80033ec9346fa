// The functions of a module that a program makes up: their names, and their arguments as letters, by which one routine
// can go through the arguments of any.
//
// n a number, b a byte, z a pointer that should be null, i bytes in and their length, o bytes out and where their
// length is, O the same for numbers, I for interfaces, t a template and its number of entries, g such a one to be
// filled, m a mechanism, r the place of a handle, s an information structure, l a label, a the arguments of
// C_Initialize, f those of C_FindObjects, x room to be filled and its size.
#pragma once

#include <cstddef>
#include <cstdint>

#include "bridge/cryptoki.h"

// clang-format off
#define CRYPTOKI_FUNCTIONS(X)                                                                                         \
    X(C_Initialize, "a") X(C_Finalize, "z") X(C_GetInfo, "s") X(C_GetFunctionList, "z") X(C_GetSlotList, "bO")        \
    X(C_GetSlotInfo, "ns") X(C_GetTokenInfo, "ns") X(C_GetMechanismList, "nO") X(C_GetMechanismInfo, "nns")           \
    X(C_InitToken, "nil") X(C_InitPIN, "ni") X(C_SetPIN, "nii") X(C_OpenSession, "nnzzr") X(C_CloseSession, "n")      \
    X(C_CloseAllSessions, "n") X(C_GetSessionInfo, "ns") X(C_GetOperationState, "no") X(C_SetOperationState, "ninn")  \
    X(C_Login, "nni") X(C_Logout, "n") X(C_CreateObject, "ntr") X(C_CopyObject, "nntr") X(C_DestroyObject, "nn")      \
    X(C_GetObjectSize, "nnr") X(C_GetAttributeValue, "nng") X(C_SetAttributeValue, "nnt") X(C_FindObjectsInit, "nt")  \
    X(C_FindObjects, "nf") X(C_FindObjectsFinal, "n") X(C_EncryptInit, "nmn") X(C_Encrypt, "nio")                     \
    X(C_EncryptUpdate, "nio") X(C_EncryptFinal, "no") X(C_DecryptInit, "nmn") X(C_Decrypt, "nio")                     \
    X(C_DecryptUpdate, "nio") X(C_DecryptFinal, "no") X(C_DigestInit, "nm") X(C_Digest, "nio")                        \
    X(C_DigestUpdate, "ni") X(C_DigestKey, "nn") X(C_DigestFinal, "no") X(C_SignInit, "nmn") X(C_Sign, "nio")         \
    X(C_SignUpdate, "ni") X(C_SignFinal, "no") X(C_SignRecoverInit, "nmn") X(C_SignRecover, "nio")                    \
    X(C_VerifyInit, "nmn") X(C_Verify, "nii") X(C_VerifyUpdate, "ni") X(C_VerifyFinal, "ni")                          \
    X(C_VerifyRecoverInit, "nmn") X(C_VerifyRecover, "nio") X(C_DigestEncryptUpdate, "nio")                           \
    X(C_DecryptDigestUpdate, "nio") X(C_SignEncryptUpdate, "nio") X(C_DecryptVerifyUpdate, "nio")                     \
    X(C_GenerateKey, "nmtr") X(C_GenerateKeyPair, "nmttrr") X(C_WrapKey, "nmnno") X(C_UnwrapKey, "nmnitr")            \
    X(C_DeriveKey, "nmntr") X(C_SeedRandom, "ni") X(C_GenerateRandom, "nx") X(C_GetFunctionStatus, "n")               \
    X(C_CancelFunction, "n") X(C_WaitForSlotEvent, "nrz")

#define CRYPTOKI_3_FUNCTIONS(X)                                                                                       \
    X(C_GetInterfaceList, "I") X(C_LoginUser, "nnii") X(C_SessionCancel, "nn") X(C_EncapsulateKey, "nmntor")          \
    X(C_DecapsulateKey, "nmntir")
// clang-format on

/// The lists of the stub module, one behind the other.
struct ModuleLists
{
    alignas(16) CK_FUNCTION_LIST list;
    alignas(16) CK_FUNCTION_LIST_3_2 extended;
};

/// What every function of the lists does; each program has its own. An argument is a word, whatever its type.
CK_RV carryOut(const char* function, const char* letters, const std::uint64_t* word);

/// A function of a list as the library calls it.
template <auto member>
struct ModuleFunction;

template <typename List, typename... Arguments, CK_RV (*List::*member)(Arguments...)>
struct ModuleFunction<member>
{
    static inline const char* name;
    static inline const char* letters;

    static CK_RV call(Arguments... arguments)
    {
        const std::uint64_t words[] = {std::uint64_t(arguments)..., 0};
        return carryOut(name, letters, words);
    }
};

/// Puts the functions into the lists, but for one of the first, which is null; none for a number of no function.
inline void fillLists(ModuleLists* lists, std::size_t missing = SIZE_MAX)
{
    std::size_t index = 0;
#define FILL(list, function, arguments)                                                                                \
    ModuleFunction<&function>::letters = arguments;                                                                    \
    list = index++ == missing ? nullptr : ModuleFunction<&function>::call;
#define FILL_FIRST(function, arguments)                                                                                \
    ModuleFunction<&CK_FUNCTION_LIST::function>::name = #function;                                                     \
    FILL(lists->list.function, CK_FUNCTION_LIST::function, arguments)
#define FILL_EXTENDED(function, arguments)                                                                             \
    ModuleFunction<&CK_FUNCTION_LIST_3_2::function>::name = #function;                                                 \
    FILL(lists->extended.function, CK_FUNCTION_LIST_3_2::function, arguments)
    CRYPTOKI_FUNCTIONS(FILL_FIRST)
    CRYPTOKI_3_FUNCTIONS(FILL_EXTENDED)
}
