// Cryptoki, the C interface of PKCS #11, as far as the library uses it: types, structures and the function list of
// version 2, declared from the standard and laid out as the platform's modules expect them. The numbers are in
// cryptoki_numbers.h, which the build generates from PKCS11Constants.java: each number is written once.
//
// Two layouts: natural alignment around a CK_ULONG of 8 bytes on Unix, 1-byte packing around one of 4 on Windows. The
// size of each structure in both stands behind it, so that a compiler that lays it out otherwise does not get as far as
// a module. No size is written as a number anywhere else. cryptoki_parameters.h has the parameters of mechanisms.
#pragma once

#include <cstddef>

// ---- Types ----

using CK_BYTE = unsigned char;
using CK_BBOOL = CK_BYTE;
using CK_UTF8CHAR = CK_BYTE;
using CK_ULONG = unsigned long int;

using CK_RV = CK_ULONG;
using CK_FLAGS = CK_ULONG;
using CK_SLOT_ID = CK_ULONG;
using CK_SESSION_HANDLE = CK_ULONG;
using CK_OBJECT_HANDLE = CK_ULONG;
using CK_USER_TYPE = CK_ULONG;
using CK_STATE = CK_ULONG;
using CK_NOTIFICATION = CK_ULONG;
using CK_ATTRIBUTE_TYPE = CK_ULONG;
using CK_MECHANISM_TYPE = CK_ULONG;

using CK_BYTE_PTR = CK_BYTE*;
using CK_UTF8CHAR_PTR = CK_UTF8CHAR*;
using CK_ULONG_PTR = CK_ULONG*;
using CK_NOTIFY = CK_RV (*)(CK_SESSION_HANDLE session, CK_NOTIFICATION event, void* application);

#include "cryptoki_numbers.h"

inline constexpr CK_BBOOL CK_FALSE = 0;
inline constexpr CK_BBOOL CK_TRUE = 1;
inline constexpr CK_ULONG CK_UNAVAILABLE_INFORMATION = ~CK_ULONG{0};

#ifdef _WIN32
inline constexpr bool kPacked = true;
#pragma pack(push, 1)
#else
inline constexpr bool kPacked = false;
#endif

template <typename Structure>
constexpr bool sizeIs(std::size_t onUnix, std::size_t onWindows)
{
    return sizeof(Structure) == (kPacked ? onWindows : onUnix);
}

static_assert(sizeIs<CK_ULONG>(8, 4));

// ---- Structures of the calls ----

struct CK_VERSION
{
    CK_BYTE major;
    CK_BYTE minor;
};
static_assert(sizeIs<CK_VERSION>(2, 2));

using CK_VERSION_PTR = CK_VERSION*;

struct CK_DATE
{
    CK_BYTE year[4]; // digits
    CK_BYTE month[2];
    CK_BYTE day[2];
};
static_assert(sizeIs<CK_DATE>(8, 8));

struct CK_INFO
{
    CK_VERSION cryptokiVersion;
    CK_UTF8CHAR manufacturerID[32];
    CK_FLAGS flags;
    CK_UTF8CHAR libraryDescription[32];
    CK_VERSION libraryVersion;
};
static_assert(sizeIs<CK_INFO>(88, 72));

struct CK_SLOT_INFO
{
    CK_UTF8CHAR slotDescription[64];
    CK_UTF8CHAR manufacturerID[32];
    CK_FLAGS flags;
    CK_VERSION hardwareVersion;
    CK_VERSION firmwareVersion;
};
static_assert(sizeIs<CK_SLOT_INFO>(112, 104));

struct CK_TOKEN_INFO
{
    CK_UTF8CHAR label[32];
    CK_UTF8CHAR manufacturerID[32];
    CK_UTF8CHAR model[16];
    CK_UTF8CHAR serialNumber[16];
    CK_FLAGS flags;
    CK_ULONG ulMaxSessionCount;
    CK_ULONG ulSessionCount;
    CK_ULONG ulMaxRwSessionCount;
    CK_ULONG ulRwSessionCount;
    CK_ULONG ulMaxPinLen;
    CK_ULONG ulMinPinLen;
    CK_ULONG ulTotalPublicMemory;
    CK_ULONG ulFreePublicMemory;
    CK_ULONG ulTotalPrivateMemory;
    CK_ULONG ulFreePrivateMemory;
    CK_VERSION hardwareVersion;
    CK_VERSION firmwareVersion;
    CK_UTF8CHAR utcTime[16];
};
static_assert(sizeIs<CK_TOKEN_INFO>(208, 160));

struct CK_SESSION_INFO
{
    CK_SLOT_ID slotID;
    CK_STATE state;
    CK_FLAGS flags;
    CK_ULONG ulDeviceError;
};
static_assert(sizeIs<CK_SESSION_INFO>(32, 16));

struct CK_MECHANISM_INFO
{
    CK_ULONG ulMinKeySize;
    CK_ULONG ulMaxKeySize;
    CK_FLAGS flags;
};
static_assert(sizeIs<CK_MECHANISM_INFO>(24, 12));

struct CK_ATTRIBUTE
{
    CK_ATTRIBUTE_TYPE type;
    void* pValue;
    CK_ULONG ulValueLen;
};
static_assert(sizeIs<CK_ATTRIBUTE>(24, 16));

struct CK_MECHANISM
{
    CK_MECHANISM_TYPE mechanism;
    void* pParameter;
    CK_ULONG ulParameterLen;
};
static_assert(sizeIs<CK_MECHANISM>(24, 16));

struct CK_C_INITIALIZE_ARGS
{
    CK_RV (*CreateMutex)(void** mutex);
    CK_RV (*DestroyMutex)(void* mutex);
    CK_RV (*LockMutex)(void* mutex);
    CK_RV (*UnlockMutex)(void* mutex);
    CK_FLAGS flags;
    void* pReserved;
};
static_assert(sizeIs<CK_C_INITIALIZE_ARGS>(48, 44));

// ---- The function list ----

/// The 68 functions of version 2, in the standard's order. Functions of one shape have one type.
struct CK_FUNCTION_LIST
{
    CK_VERSION version;

    CK_RV (*C_Initialize)(void* args);
    CK_RV (*C_Finalize)(void* reserved);
    CK_RV (*C_GetInfo)(CK_INFO* info);
    CK_RV (*C_GetFunctionList)(CK_FUNCTION_LIST** list);

    CK_RV (*C_GetSlotList)(CK_BBOOL tokenPresent, CK_SLOT_ID* slots, CK_ULONG* count);
    CK_RV (*C_GetSlotInfo)(CK_SLOT_ID slot, CK_SLOT_INFO* info);
    CK_RV (*C_GetTokenInfo)(CK_SLOT_ID slot, CK_TOKEN_INFO* info);
    CK_RV (*C_GetMechanismList)(CK_SLOT_ID slot, CK_MECHANISM_TYPE* types, CK_ULONG* count);
    CK_RV (*C_GetMechanismInfo)(CK_SLOT_ID slot, CK_MECHANISM_TYPE type, CK_MECHANISM_INFO* info);
    CK_RV (*C_InitToken)(CK_SLOT_ID slot, CK_UTF8CHAR* pin, CK_ULONG pinLength, CK_UTF8CHAR* label);
    CK_RV (*C_InitPIN)(CK_SESSION_HANDLE session, CK_UTF8CHAR* pin, CK_ULONG length);
    CK_RV (*C_SetPIN)(CK_SESSION_HANDLE session, CK_UTF8CHAR* oldPin, CK_ULONG oldLength, CK_UTF8CHAR* newPin,
                      CK_ULONG newLength);

    CK_RV (*C_OpenSession)(CK_SLOT_ID slot, CK_FLAGS flags, void* application, CK_NOTIFY notify,
                           CK_SESSION_HANDLE* session);
    CK_RV (*C_CloseSession)(CK_SESSION_HANDLE session);
    CK_RV (*C_CloseAllSessions)(CK_SLOT_ID slot);
    CK_RV (*C_GetSessionInfo)(CK_SESSION_HANDLE session, CK_SESSION_INFO* info);
    CK_RV (*C_GetOperationState)(CK_SESSION_HANDLE session, CK_BYTE* state, CK_ULONG* length);
    CK_RV (*C_SetOperationState)(CK_SESSION_HANDLE session, CK_BYTE* state, CK_ULONG length,
                                 CK_OBJECT_HANDLE encryptionKey, CK_OBJECT_HANDLE authenticationKey);
    CK_RV (*C_Login)(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR* pin, CK_ULONG length);
    CK_RV (*C_Logout)(CK_SESSION_HANDLE session);

    CK_RV (*C_CreateObject)(CK_SESSION_HANDLE session, CK_ATTRIBUTE* attributes, CK_ULONG count,
                            CK_OBJECT_HANDLE* object);
    CK_RV (*C_CopyObject)(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE source, CK_ATTRIBUTE* attributes, CK_ULONG count,
                          CK_OBJECT_HANDLE* copy);
    CK_RV (*C_DestroyObject)(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object);
    CK_RV (*C_GetObjectSize)(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ULONG* size);
    CK_RV (*C_GetAttributeValue)(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* attributes,
                                 CK_ULONG count);
    CK_RV (*C_SetAttributeValue)(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* attributes,
                                 CK_ULONG count);
    CK_RV (*C_FindObjectsInit)(CK_SESSION_HANDLE session, CK_ATTRIBUTE* attributes, CK_ULONG count);
    CK_RV (*C_FindObjects)(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE* objects, CK_ULONG capacity, CK_ULONG* count);
    CK_RV (*C_FindObjectsFinal)(CK_SESSION_HANDLE session);

    CK_RV (*C_EncryptInit)(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key);
    CK_RV (*C_Encrypt)(CK_SESSION_HANDLE session, CK_BYTE* in, CK_ULONG inLength, CK_BYTE* out, CK_ULONG* outLength);
    CK_RV (*C_EncryptUpdate)(CK_SESSION_HANDLE session, CK_BYTE* in, CK_ULONG inLength, CK_BYTE* out,
                             CK_ULONG* outLength);
    CK_RV (*C_EncryptFinal)(CK_SESSION_HANDLE session, CK_BYTE* out, CK_ULONG* outLength);
    CK_RV (*C_DecryptInit)(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key);
    CK_RV (*C_Decrypt)(CK_SESSION_HANDLE session, CK_BYTE* in, CK_ULONG inLength, CK_BYTE* out, CK_ULONG* outLength);
    CK_RV (*C_DecryptUpdate)(CK_SESSION_HANDLE session, CK_BYTE* in, CK_ULONG inLength, CK_BYTE* out,
                             CK_ULONG* outLength);
    CK_RV (*C_DecryptFinal)(CK_SESSION_HANDLE session, CK_BYTE* out, CK_ULONG* outLength);

    CK_RV (*C_DigestInit)(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism);
    CK_RV (*C_Digest)(CK_SESSION_HANDLE session, CK_BYTE* in, CK_ULONG inLength, CK_BYTE* out, CK_ULONG* outLength);
    CK_RV (*C_DigestUpdate)(CK_SESSION_HANDLE session, CK_BYTE* in, CK_ULONG inLength);
    CK_RV (*C_DigestKey)(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE key);
    CK_RV (*C_DigestFinal)(CK_SESSION_HANDLE session, CK_BYTE* out, CK_ULONG* outLength);

    CK_RV (*C_SignInit)(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key);
    CK_RV (*C_Sign)(CK_SESSION_HANDLE session, CK_BYTE* in, CK_ULONG inLength, CK_BYTE* out, CK_ULONG* outLength);
    CK_RV (*C_SignUpdate)(CK_SESSION_HANDLE session, CK_BYTE* in, CK_ULONG inLength);
    CK_RV (*C_SignFinal)(CK_SESSION_HANDLE session, CK_BYTE* out, CK_ULONG* outLength);
    CK_RV (*C_SignRecoverInit)(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key);
    CK_RV (*C_SignRecover)(CK_SESSION_HANDLE session, CK_BYTE* in, CK_ULONG inLength, CK_BYTE* out,
                           CK_ULONG* outLength);

    CK_RV (*C_VerifyInit)(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key);
    CK_RV (*C_Verify)(CK_SESSION_HANDLE session, CK_BYTE* in, CK_ULONG inLength, CK_BYTE* signature,
                      CK_ULONG signatureLength);
    CK_RV (*C_VerifyUpdate)(CK_SESSION_HANDLE session, CK_BYTE* in, CK_ULONG inLength);
    CK_RV (*C_VerifyFinal)(CK_SESSION_HANDLE session, CK_BYTE* signature, CK_ULONG signatureLength);
    CK_RV (*C_VerifyRecoverInit)(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE key);
    CK_RV (*C_VerifyRecover)(CK_SESSION_HANDLE session, CK_BYTE* signature, CK_ULONG signatureLength, CK_BYTE* out,
                             CK_ULONG* outLength);

    CK_RV (*C_DigestEncryptUpdate)(CK_SESSION_HANDLE session, CK_BYTE* in, CK_ULONG inLength, CK_BYTE* out,
                                   CK_ULONG* outLength);
    CK_RV (*C_DecryptDigestUpdate)(CK_SESSION_HANDLE session, CK_BYTE* in, CK_ULONG inLength, CK_BYTE* out,
                                   CK_ULONG* outLength);
    CK_RV (*C_SignEncryptUpdate)(CK_SESSION_HANDLE session, CK_BYTE* in, CK_ULONG inLength, CK_BYTE* out,
                                 CK_ULONG* outLength);
    CK_RV (*C_DecryptVerifyUpdate)(CK_SESSION_HANDLE session, CK_BYTE* in, CK_ULONG inLength, CK_BYTE* out,
                                   CK_ULONG* outLength);

    CK_RV (*C_GenerateKey)(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_ATTRIBUTE* attributes, CK_ULONG count,
                           CK_OBJECT_HANDLE* key);
    CK_RV (*C_GenerateKeyPair)(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_ATTRIBUTE* publicAttributes,
                               CK_ULONG publicCount, CK_ATTRIBUTE* privateAttributes, CK_ULONG privateCount,
                               CK_OBJECT_HANDLE* publicKey, CK_OBJECT_HANDLE* privateKey);
    CK_RV (*C_WrapKey)(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE wrappingKey,
                       CK_OBJECT_HANDLE key, CK_BYTE* wrapped, CK_ULONG* length);
    CK_RV (*C_UnwrapKey)(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE unwrappingKey,
                         CK_BYTE* wrapped, CK_ULONG length, CK_ATTRIBUTE* attributes, CK_ULONG count,
                         CK_OBJECT_HANDLE* key);
    CK_RV (*C_DeriveKey)(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE baseKey,
                         CK_ATTRIBUTE* attributes, CK_ULONG count, CK_OBJECT_HANDLE* key);

    CK_RV (*C_SeedRandom)(CK_SESSION_HANDLE session, CK_BYTE* seed, CK_ULONG length);
    CK_RV (*C_GenerateRandom)(CK_SESSION_HANDLE session, CK_BYTE* random, CK_ULONG length);
    CK_RV (*C_GetFunctionStatus)(CK_SESSION_HANDLE session);
    CK_RV (*C_CancelFunction)(CK_SESSION_HANDLE session);
    CK_RV (*C_WaitForSlotEvent)(CK_FLAGS flags, CK_SLOT_ID* slot, void* reserved);
};
static_assert(sizeIs<CK_FUNCTION_LIST>(552, 546));

using CK_FUNCTION_LIST_PTR = CK_FUNCTION_LIST*;
using CK_C_GetFunctionList = CK_RV (*)(CK_FUNCTION_LIST** list);

/// A set of functions that a module offers, by name and version. Its function list begins with the version.
struct CK_INTERFACE
{
    const char* pInterfaceName;
    void* pFunctionList;
    CK_FLAGS flags;
};
static_assert(sizeIs<CK_INTERFACE>(24, 20));

using CK_C_GetInterface = CK_RV (*)(const char* name, CK_VERSION* version, CK_INTERFACE** found, CK_FLAGS flags);

/// The functions of the editions 3.0 to 3.2, as far as they are called here. A list of edition 3.0 or 3.1 ends before
/// C_EncapsulateKey.
struct CK_FUNCTION_LIST_3_2
{
    CK_FUNCTION_LIST edition2;

    CK_RV (*C_GetInterfaceList)(CK_INTERFACE* interfaces, CK_ULONG* count);
    CK_C_GetInterface C_GetInterface;
    CK_RV (*C_LoginUser)(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR* pin, CK_ULONG pinLength,
                         CK_UTF8CHAR* name, CK_ULONG nameLength);
    CK_RV (*C_SessionCancel)(CK_SESSION_HANDLE session, CK_FLAGS operations);
    void (*messageFunctions[20])(); ///< C_MessageEncryptInit to C_MessageVerifyFinal

    CK_RV (*C_EncapsulateKey)(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE publicKey,
                              CK_ATTRIBUTE* attributes, CK_ULONG count, CK_BYTE* ciphertext, CK_ULONG* length,
                              CK_OBJECT_HANDLE* key);
    CK_RV (*C_DecapsulateKey)(CK_SESSION_HANDLE session, CK_MECHANISM* mechanism, CK_OBJECT_HANDLE privateKey,
                              CK_ATTRIBUTE* attributes, CK_ULONG count, CK_BYTE* ciphertext, CK_ULONG length,
                              CK_OBJECT_HANDLE* key);
};
static_assert(sizeIs<CK_FUNCTION_LIST_3_2>(760, 754));

#ifdef _WIN32
#pragma pack(pop)
#endif
