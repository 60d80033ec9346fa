// Cryptoki's functions in the order of the list, and their arguments: n a number, b a byte, z a pointer that should be
// null, i bytes in and their length, o bytes out and where their length is, O the same for numbers, t a template and
// its number of entries, g such a one to be filled, m a mechanism, r the place of a handle, s an information structure,
// l a label, a the arguments of C_Initialize, f those of C_FindObjects, x room to be filled and its size.
#pragma once

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
// clang-format on
