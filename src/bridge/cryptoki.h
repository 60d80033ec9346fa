// Cryptoki, the C interface of PKCS #11, as far as the library uses it: types, structures and the function list of
// version 2, declared from the standard and laid out as the platform's modules expect them. The numbers are in
// cryptoki_numbers.h, which the build makes from PKCS11Constants.java: a number has one place.
//
// Two layouts: natural alignment around a CK_ULONG of 8 bytes on Unix, 1-byte packing around one of 4 on Windows.
// cryptoki_layout.cpp pins the sizes and offsets of both. No size is written as a number anywhere else.
//
// Structures stand in the order of the editions that brought them. A new one needs its declaration here and its lines
// in cryptoki_layout.cpp.
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

// ---- Structures of the calls ----

struct CK_VERSION
{
    CK_BYTE major;
    CK_BYTE minor;
};

using CK_VERSION_PTR = CK_VERSION*;

struct CK_DATE
{
    CK_BYTE year[4]; // digits
    CK_BYTE month[2];
    CK_BYTE day[2];
};

struct CK_INFO
{
    CK_VERSION cryptokiVersion;
    CK_UTF8CHAR manufacturerID[32];
    CK_FLAGS flags;
    CK_UTF8CHAR libraryDescription[32];
    CK_VERSION libraryVersion;
};

struct CK_SLOT_INFO
{
    CK_UTF8CHAR slotDescription[64];
    CK_UTF8CHAR manufacturerID[32];
    CK_FLAGS flags;
    CK_VERSION hardwareVersion;
    CK_VERSION firmwareVersion;
};

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

struct CK_SESSION_INFO
{
    CK_SLOT_ID slotID;
    CK_STATE state;
    CK_FLAGS flags;
    CK_ULONG ulDeviceError;
};

struct CK_MECHANISM_INFO
{
    CK_ULONG ulMinKeySize;
    CK_ULONG ulMaxKeySize;
    CK_FLAGS flags;
};

struct CK_ATTRIBUTE
{
    CK_ATTRIBUTE_TYPE type;
    void* pValue;
    CK_ULONG ulValueLen;
};

struct CK_MECHANISM
{
    CK_MECHANISM_TYPE mechanism;
    void* pParameter;
    CK_ULONG ulParameterLen;
};

struct CK_C_INITIALIZE_ARGS
{
    CK_RV (*CreateMutex)(void** mutex);
    CK_RV (*DestroyMutex)(void* mutex);
    CK_RV (*LockMutex)(void* mutex);
    CK_RV (*UnlockMutex)(void* mutex);
    CK_FLAGS flags;
    void* pReserved;
};

// ---- Parameters of mechanisms ----

using CK_RC2_PARAMS = CK_ULONG;         // effective bits
using CK_MAC_GENERAL_PARAMS = CK_ULONG; // MAC length in bytes
using CK_EXTRACT_PARAMS = CK_ULONG;     // first bit

struct CK_RC2_CBC_PARAMS
{
    CK_ULONG ulEffectiveBits;
    CK_BYTE iv[8];
};

struct CK_RC2_MAC_GENERAL_PARAMS
{
    CK_ULONG ulEffectiveBits;
    CK_ULONG ulMacLength;
};

struct CK_RC5_PARAMS
{
    CK_ULONG ulWordsize;
    CK_ULONG ulRounds;
};

struct CK_RC5_CBC_PARAMS
{
    CK_ULONG ulWordsize;
    CK_ULONG ulRounds;
    CK_BYTE_PTR pIv;
    CK_ULONG ulIvLen;
};

struct CK_RC5_MAC_GENERAL_PARAMS
{
    CK_ULONG ulWordsize;
    CK_ULONG ulRounds;
    CK_ULONG ulMacLength;
};

struct CK_PBE_PARAMS
{
    CK_BYTE_PTR pInitVector;
    CK_UTF8CHAR_PTR pPassword;
    CK_ULONG ulPasswordLen;
    CK_BYTE_PTR pSalt;
    CK_ULONG ulSaltLen;
    CK_ULONG ulIteration;
};

struct CK_KEY_DERIVATION_STRING_DATA
{
    CK_BYTE_PTR pData;
    CK_ULONG ulLen;
};

struct CK_SSL3_RANDOM_DATA
{
    CK_BYTE_PTR pClientRandom;
    CK_ULONG ulClientRandomLen;
    CK_BYTE_PTR pServerRandom;
    CK_ULONG ulServerRandomLen;
};

struct CK_SSL3_MASTER_KEY_DERIVE_PARAMS
{
    CK_SSL3_RANDOM_DATA RandomInfo;
    CK_VERSION_PTR pVersion;
};

struct CK_SSL3_KEY_MAT_OUT
{
    CK_OBJECT_HANDLE hClientMacSecret;
    CK_OBJECT_HANDLE hServerMacSecret;
    CK_OBJECT_HANDLE hClientKey;
    CK_OBJECT_HANDLE hServerKey;
    CK_BYTE_PTR pIVClient;
    CK_BYTE_PTR pIVServer;
};

struct CK_SSL3_KEY_MAT_PARAMS
{
    CK_ULONG ulMacSizeInBits;
    CK_ULONG ulKeySizeInBits;
    CK_ULONG ulIVSizeInBits;
    CK_BBOOL bIsExport;
    CK_SSL3_RANDOM_DATA RandomInfo;
    CK_SSL3_KEY_MAT_OUT* pReturnedKeyMaterial;
};

// Edition 2.11

struct CK_X9_42_DH1_DERIVE_PARAMS
{
    CK_ULONG kdf;
    CK_ULONG ulOtherInfoLen;
    CK_BYTE_PTR pOtherInfo;
    CK_ULONG ulPublicDataLen;
    CK_BYTE_PTR pPublicData;
};

struct CK_X9_42_DH2_DERIVE_PARAMS
{
    CK_ULONG kdf;
    CK_ULONG ulOtherInfoLen;
    CK_BYTE_PTR pOtherInfo;
    CK_ULONG ulPublicDataLen;
    CK_BYTE_PTR pPublicData;
    CK_ULONG ulPrivateDataLen;
    CK_OBJECT_HANDLE hPrivateData;
    CK_ULONG ulPublicDataLen2;
    CK_BYTE_PTR pPublicData2;
};

struct CK_X9_42_MQV_DERIVE_PARAMS
{
    CK_ULONG kdf;
    CK_ULONG ulOtherInfoLen;
    CK_BYTE_PTR OtherInfo;
    CK_ULONG ulPublicDataLen;
    CK_BYTE_PTR PublicData;
    CK_ULONG ulPrivateDataLen;
    CK_OBJECT_HANDLE hPrivateData;
    CK_ULONG ulPublicDataLen2;
    CK_BYTE_PTR PublicData2;
    CK_OBJECT_HANDLE publicKey;
};

struct CK_RSA_PKCS_OAEP_PARAMS
{
    CK_MECHANISM_TYPE hashAlg;
    CK_ULONG mgf;
    CK_ULONG source;
    void* pSourceData;
    CK_ULONG ulSourceDataLen;
};

struct CK_RSA_PKCS_PSS_PARAMS
{
    CK_MECHANISM_TYPE hashAlg;
    CK_ULONG mgf;
    CK_ULONG sLen;
};

struct CK_ECDH1_DERIVE_PARAMS
{
    CK_ULONG kdf;
    CK_ULONG ulSharedDataLen;
    CK_BYTE_PTR pSharedData;
    CK_ULONG ulPublicDataLen;
    CK_BYTE_PTR pPublicData;
};

// Edition 2.20 and its amendments

struct CK_TLS_PRF_PARAMS
{
    CK_BYTE_PTR pSeed;
    CK_ULONG ulSeedLen;
    CK_BYTE_PTR pLabel;
    CK_ULONG ulLabelLen;
    CK_BYTE_PTR pOutput;
    CK_ULONG_PTR pulOutputLen;
};

struct CK_DES_CBC_ENCRYPT_DATA_PARAMS
{
    CK_BYTE iv[8];
    CK_BYTE_PTR pData;
    CK_ULONG length;
};

struct CK_AES_CBC_ENCRYPT_DATA_PARAMS
{
    CK_BYTE iv[16];
    CK_BYTE_PTR pData;
    CK_ULONG length;
};

struct CK_AES_CTR_PARAMS
{
    CK_ULONG ulCounterBits;
    CK_BYTE cb[16];
};

// Edition 2.40

/// Some modules on Unix refuse the form without ulIvBits, others the form with 0 bits; packed modules expect it
/// without.
struct CK_GCM_PARAMS
{
    CK_BYTE_PTR pIv;
    CK_ULONG ulIvLen;
#ifndef _WIN32
    CK_ULONG ulIvBits;
#endif
    CK_BYTE_PTR pAAD;
    CK_ULONG ulAADLen;
    CK_ULONG ulTagBits;
};

struct CK_CCM_PARAMS
{
    CK_ULONG ulDataLen;
    CK_BYTE_PTR pNonce;
    CK_ULONG ulNonceLen;
    CK_BYTE_PTR pAAD;
    CK_ULONG ulAADLen;
    CK_ULONG ulMACLen;
};

struct CK_RSA_AES_KEY_WRAP_PARAMS
{
    CK_ULONG ulAESKeyBits;
    CK_RSA_PKCS_OAEP_PARAMS* pOAEPParams;
};

struct CK_ECDH_AES_KEY_WRAP_PARAMS
{
    CK_ULONG ulAESKeyBits;
    CK_ULONG kdf;
    CK_ULONG ulSharedDataLen;
    CK_BYTE_PTR pSharedData;
};

struct CK_TLS12_MASTER_KEY_DERIVE_PARAMS
{
    CK_SSL3_RANDOM_DATA RandomInfo;
    CK_VERSION_PTR pVersion;
    CK_MECHANISM_TYPE prfHashMechanism;
};

struct CK_TLS12_KEY_MAT_PARAMS
{
    CK_ULONG ulMacSizeInBits;
    CK_ULONG ulKeySizeInBits;
    CK_ULONG ulIVSizeInBits;
    CK_BBOOL bIsExport;
    CK_SSL3_RANDOM_DATA RandomInfo;
    CK_SSL3_KEY_MAT_OUT* pReturnedKeyMaterial;
    CK_MECHANISM_TYPE prfHashMechanism;
};

struct CK_TLS_KDF_PARAMS
{
    CK_MECHANISM_TYPE prfMechanism;
    CK_BYTE_PTR pLabel;
    CK_ULONG ulLabelLength;
    CK_SSL3_RANDOM_DATA RandomInfo;
    CK_BYTE_PTR pContextData;
    CK_ULONG ulContextDataLength;
};

struct CK_TLS_MAC_PARAMS
{
    CK_MECHANISM_TYPE prfHashMechanism;
    CK_ULONG ulMacLength;
    CK_ULONG ulServerOrClient;
};

// Edition 3.0

struct CK_CHACHA20_PARAMS
{
    CK_BYTE_PTR pBlockCounter;
    CK_ULONG blockCounterBits;
    CK_BYTE_PTR pNonce;
    CK_ULONG ulNonceBits;
};

struct CK_SALSA20_PARAMS
{
    CK_BYTE_PTR pBlockCounter;
    CK_BYTE_PTR pNonce;
    CK_ULONG ulNonceBits;
};

struct CK_XEDDSA_PARAMS
{
    CK_ULONG hash;
};

struct CK_PRF_DATA_PARAM
{
    CK_ULONG type;
    void* pValue;
    CK_ULONG ulValueLen;
};

struct CK_SP800_108_COUNTER_FORMAT
{
    CK_BBOOL bLittleEndian;
    CK_ULONG ulWidthInBits;
};

struct CK_SP800_108_DKM_LENGTH_FORMAT
{
    CK_ULONG dkmLengthMethod;
    CK_BBOOL bLittleEndian;
    CK_ULONG ulWidthInBits;
};

struct CK_DERIVED_KEY
{
    CK_ATTRIBUTE* pTemplate;
    CK_ULONG ulAttributeCount;
    CK_OBJECT_HANDLE* phKey;
};

struct CK_SP800_108_KDF_PARAMS
{
    CK_MECHANISM_TYPE prfType;
    CK_ULONG ulNumberOfDataParams;
    CK_PRF_DATA_PARAM* pDataParams;
    CK_ULONG ulAdditionalDerivedKeys;
    CK_DERIVED_KEY* pAdditionalDerivedKeys;
};

struct CK_SP800_108_FEEDBACK_KDF_PARAMS
{
    CK_MECHANISM_TYPE prfType;
    CK_ULONG ulNumberOfDataParams;
    CK_PRF_DATA_PARAM* pDataParams;
    CK_ULONG ulIVLen;
    CK_BYTE_PTR pIV;
    CK_ULONG ulAdditionalDerivedKeys;
    CK_DERIVED_KEY* pAdditionalDerivedKeys;
};

struct CK_EDDSA_PARAMS
{
    CK_BBOOL phFlag;
    CK_ULONG ulContextDataLen;
    CK_BYTE_PTR pContextData;
};

struct CK_SALSA20_CHACHA20_POLY1305_PARAMS
{
    CK_BYTE_PTR pNonce;
    CK_ULONG ulNonceLen;
    CK_BYTE_PTR pAAD;
    CK_ULONG ulAADLen;
};

struct CK_HKDF_PARAMS
{
    CK_BBOOL bExtract;
    CK_BBOOL bExpand;
    CK_MECHANISM_TYPE prfHashMechanism;
    CK_ULONG ulSaltType;
    CK_BYTE_PTR pSalt;
    CK_ULONG ulSaltLen;
    CK_OBJECT_HANDLE hSaltKey;
    CK_BYTE_PTR pInfo;
    CK_ULONG ulInfoLen;
};

// Edition 3.2

struct CK_SIGN_ADDITIONAL_CONTEXT
{
    CK_ULONG hedgeVariant;
    CK_BYTE_PTR pContext;
    CK_ULONG ulContextLen;
};

struct CK_HASH_SIGN_ADDITIONAL_CONTEXT
{
    CK_ULONG hedgeVariant;
    CK_BYTE_PTR pContext;
    CK_ULONG ulContextLen;
    CK_MECHANISM_TYPE hash;
};

struct CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS
{
    CK_MECHANISM_TYPE prfHashMechanism;
    CK_BYTE_PTR pSessionHash;
    CK_ULONG ulSessionHashLen;
    CK_VERSION_PTR pVersion;
};

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
    CK_RV (*C_FindObjects)(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE* objects, CK_ULONG room, CK_ULONG* count);
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

using CK_FUNCTION_LIST_PTR = CK_FUNCTION_LIST*;
using CK_C_GetFunctionList = CK_RV (*)(CK_FUNCTION_LIST** list);

/// A set of functions that a module offers, by name and version. Its function list begins with the version.
struct CK_INTERFACE
{
    const char* pInterfaceName;
    void* pFunctionList;
    CK_FLAGS flags;
};

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

#ifdef _WIN32
#pragma pack(pop)
#endif
