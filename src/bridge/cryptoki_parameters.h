// The structures of mechanism parameters, in the order of the editions that introduced them, laid out as in cryptoki.h.
#pragma once

#include "bridge/cryptoki.h"

#ifdef _WIN32
#pragma pack(push, 1)
#endif

using CK_RC2_PARAMS = CK_ULONG;         // effective bits
using CK_MAC_GENERAL_PARAMS = CK_ULONG; // MAC length in bytes
using CK_EXTRACT_PARAMS = CK_ULONG;     // first bit

struct CK_RC2_CBC_PARAMS
{
    CK_ULONG ulEffectiveBits;
    CK_BYTE iv[8];
};
static_assert(sizeIs<CK_RC2_CBC_PARAMS>(16, 12));

struct CK_RC2_MAC_GENERAL_PARAMS
{
    CK_ULONG ulEffectiveBits;
    CK_ULONG ulMacLength;
};
static_assert(sizeIs<CK_RC2_MAC_GENERAL_PARAMS>(16, 8));

struct CK_RC5_PARAMS
{
    CK_ULONG ulWordsize;
    CK_ULONG ulRounds;
};
static_assert(sizeIs<CK_RC5_PARAMS>(16, 8));

struct CK_RC5_CBC_PARAMS
{
    CK_ULONG ulWordsize;
    CK_ULONG ulRounds;
    CK_BYTE_PTR pIv;
    CK_ULONG ulIvLen;
};
static_assert(sizeIs<CK_RC5_CBC_PARAMS>(32, 20));

struct CK_RC5_MAC_GENERAL_PARAMS
{
    CK_ULONG ulWordsize;
    CK_ULONG ulRounds;
    CK_ULONG ulMacLength;
};
static_assert(sizeIs<CK_RC5_MAC_GENERAL_PARAMS>(24, 12));

struct CK_PBE_PARAMS
{
    CK_BYTE_PTR pInitVector;
    CK_UTF8CHAR_PTR pPassword;
    CK_ULONG ulPasswordLen;
    CK_BYTE_PTR pSalt;
    CK_ULONG ulSaltLen;
    CK_ULONG ulIteration;
};
static_assert(sizeIs<CK_PBE_PARAMS>(48, 36));

struct CK_KEY_DERIVATION_STRING_DATA
{
    CK_BYTE_PTR pData;
    CK_ULONG ulLen;
};
static_assert(sizeIs<CK_KEY_DERIVATION_STRING_DATA>(16, 12));

struct CK_SSL3_RANDOM_DATA
{
    CK_BYTE_PTR pClientRandom;
    CK_ULONG ulClientRandomLen;
    CK_BYTE_PTR pServerRandom;
    CK_ULONG ulServerRandomLen;
};
static_assert(sizeIs<CK_SSL3_RANDOM_DATA>(32, 24));

struct CK_SSL3_MASTER_KEY_DERIVE_PARAMS
{
    CK_SSL3_RANDOM_DATA RandomInfo;
    CK_VERSION_PTR pVersion;
};
static_assert(sizeIs<CK_SSL3_MASTER_KEY_DERIVE_PARAMS>(40, 32));

struct CK_SSL3_KEY_MAT_OUT
{
    CK_OBJECT_HANDLE hClientMacSecret;
    CK_OBJECT_HANDLE hServerMacSecret;
    CK_OBJECT_HANDLE hClientKey;
    CK_OBJECT_HANDLE hServerKey;
    CK_BYTE_PTR pIVClient;
    CK_BYTE_PTR pIVServer;
};
static_assert(sizeIs<CK_SSL3_KEY_MAT_OUT>(48, 32));

struct CK_SSL3_KEY_MAT_PARAMS
{
    CK_ULONG ulMacSizeInBits;
    CK_ULONG ulKeySizeInBits;
    CK_ULONG ulIVSizeInBits;
    CK_BBOOL bIsExport;
    CK_SSL3_RANDOM_DATA RandomInfo;
    CK_SSL3_KEY_MAT_OUT* pReturnedKeyMaterial;
};
static_assert(sizeIs<CK_SSL3_KEY_MAT_PARAMS>(72, 45));

// Edition 2.11

struct CK_X9_42_DH1_DERIVE_PARAMS
{
    CK_ULONG kdf;
    CK_ULONG ulOtherInfoLen;
    CK_BYTE_PTR pOtherInfo;
    CK_ULONG ulPublicDataLen;
    CK_BYTE_PTR pPublicData;
};
static_assert(sizeIs<CK_X9_42_DH1_DERIVE_PARAMS>(40, 28));

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
static_assert(sizeIs<CK_X9_42_DH2_DERIVE_PARAMS>(72, 48));

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
static_assert(sizeIs<CK_X9_42_MQV_DERIVE_PARAMS>(80, 52));

struct CK_RSA_PKCS_OAEP_PARAMS
{
    CK_MECHANISM_TYPE hashAlg;
    CK_ULONG mgf;
    CK_ULONG source;
    void* pSourceData;
    CK_ULONG ulSourceDataLen;
};
static_assert(sizeIs<CK_RSA_PKCS_OAEP_PARAMS>(40, 24));

struct CK_RSA_PKCS_PSS_PARAMS
{
    CK_MECHANISM_TYPE hashAlg;
    CK_ULONG mgf;
    CK_ULONG sLen;
};
static_assert(sizeIs<CK_RSA_PKCS_PSS_PARAMS>(24, 12));

struct CK_ECDH1_DERIVE_PARAMS
{
    CK_ULONG kdf;
    CK_ULONG ulSharedDataLen;
    CK_BYTE_PTR pSharedData;
    CK_ULONG ulPublicDataLen;
    CK_BYTE_PTR pPublicData;
};
static_assert(sizeIs<CK_ECDH1_DERIVE_PARAMS>(40, 28));

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
static_assert(sizeIs<CK_TLS_PRF_PARAMS>(48, 40));

struct CK_DES_CBC_ENCRYPT_DATA_PARAMS
{
    CK_BYTE iv[8];
    CK_BYTE_PTR pData;
    CK_ULONG length;
};
static_assert(sizeIs<CK_DES_CBC_ENCRYPT_DATA_PARAMS>(24, 20));

struct CK_AES_CBC_ENCRYPT_DATA_PARAMS
{
    CK_BYTE iv[16];
    CK_BYTE_PTR pData;
    CK_ULONG length;
};
static_assert(sizeIs<CK_AES_CBC_ENCRYPT_DATA_PARAMS>(32, 28));

struct CK_AES_CTR_PARAMS
{
    CK_ULONG ulCounterBits;
    CK_BYTE cb[16];
};
static_assert(sizeIs<CK_AES_CTR_PARAMS>(24, 20));

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
static_assert(sizeIs<CK_GCM_PARAMS>(48, 28));

struct CK_CCM_PARAMS
{
    CK_ULONG ulDataLen;
    CK_BYTE_PTR pNonce;
    CK_ULONG ulNonceLen;
    CK_BYTE_PTR pAAD;
    CK_ULONG ulAADLen;
    CK_ULONG ulMACLen;
};
static_assert(sizeIs<CK_CCM_PARAMS>(48, 32));

struct CK_RSA_AES_KEY_WRAP_PARAMS
{
    CK_ULONG ulAESKeyBits;
    CK_RSA_PKCS_OAEP_PARAMS* pOAEPParams;
};
static_assert(sizeIs<CK_RSA_AES_KEY_WRAP_PARAMS>(16, 12));

struct CK_ECDH_AES_KEY_WRAP_PARAMS
{
    CK_ULONG ulAESKeyBits;
    CK_ULONG kdf;
    CK_ULONG ulSharedDataLen;
    CK_BYTE_PTR pSharedData;
};
static_assert(sizeIs<CK_ECDH_AES_KEY_WRAP_PARAMS>(32, 20));

struct CK_TLS12_MASTER_KEY_DERIVE_PARAMS
{
    CK_SSL3_RANDOM_DATA RandomInfo;
    CK_VERSION_PTR pVersion;
    CK_MECHANISM_TYPE prfHashMechanism;
};
static_assert(sizeIs<CK_TLS12_MASTER_KEY_DERIVE_PARAMS>(48, 36));

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
static_assert(sizeIs<CK_TLS12_KEY_MAT_PARAMS>(80, 49));

struct CK_TLS_KDF_PARAMS
{
    CK_MECHANISM_TYPE prfMechanism;
    CK_BYTE_PTR pLabel;
    CK_ULONG ulLabelLength;
    CK_SSL3_RANDOM_DATA RandomInfo;
    CK_BYTE_PTR pContextData;
    CK_ULONG ulContextDataLength;
};
static_assert(sizeIs<CK_TLS_KDF_PARAMS>(72, 52));

struct CK_TLS_MAC_PARAMS
{
    CK_MECHANISM_TYPE prfHashMechanism;
    CK_ULONG ulMacLength;
    CK_ULONG ulServerOrClient;
};
static_assert(sizeIs<CK_TLS_MAC_PARAMS>(24, 12));

// Edition 3.0

struct CK_CHACHA20_PARAMS
{
    CK_BYTE_PTR pBlockCounter;
    CK_ULONG blockCounterBits;
    CK_BYTE_PTR pNonce;
    CK_ULONG ulNonceBits;
};
static_assert(sizeIs<CK_CHACHA20_PARAMS>(32, 24));

struct CK_SALSA20_PARAMS
{
    CK_BYTE_PTR pBlockCounter;
    CK_BYTE_PTR pNonce;
    CK_ULONG ulNonceBits;
};
static_assert(sizeIs<CK_SALSA20_PARAMS>(24, 20));

struct CK_XEDDSA_PARAMS
{
    CK_ULONG hash;
};
static_assert(sizeIs<CK_XEDDSA_PARAMS>(8, 4));

struct CK_PRF_DATA_PARAM
{
    CK_ULONG type;
    void* pValue;
    CK_ULONG ulValueLen;
};
static_assert(sizeIs<CK_PRF_DATA_PARAM>(24, 16));

struct CK_SP800_108_COUNTER_FORMAT
{
    CK_BBOOL bLittleEndian;
    CK_ULONG ulWidthInBits;
};
static_assert(sizeIs<CK_SP800_108_COUNTER_FORMAT>(16, 5));

struct CK_SP800_108_DKM_LENGTH_FORMAT
{
    CK_ULONG dkmLengthMethod;
    CK_BBOOL bLittleEndian;
    CK_ULONG ulWidthInBits;
};
static_assert(sizeIs<CK_SP800_108_DKM_LENGTH_FORMAT>(24, 9));

struct CK_DERIVED_KEY
{
    CK_ATTRIBUTE* pTemplate;
    CK_ULONG ulAttributeCount;
    CK_OBJECT_HANDLE* phKey;
};
static_assert(sizeIs<CK_DERIVED_KEY>(24, 20));

struct CK_SP800_108_KDF_PARAMS
{
    CK_MECHANISM_TYPE prfType;
    CK_ULONG ulNumberOfDataParams;
    CK_PRF_DATA_PARAM* pDataParams;
    CK_ULONG ulAdditionalDerivedKeys;
    CK_DERIVED_KEY* pAdditionalDerivedKeys;
};
static_assert(sizeIs<CK_SP800_108_KDF_PARAMS>(40, 28));

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
static_assert(sizeIs<CK_SP800_108_FEEDBACK_KDF_PARAMS>(56, 40));

struct CK_EDDSA_PARAMS
{
    CK_BBOOL phFlag;
    CK_ULONG ulContextDataLen;
    CK_BYTE_PTR pContextData;
};
static_assert(sizeIs<CK_EDDSA_PARAMS>(24, 13));

struct CK_SALSA20_CHACHA20_POLY1305_PARAMS
{
    CK_BYTE_PTR pNonce;
    CK_ULONG ulNonceLen;
    CK_BYTE_PTR pAAD;
    CK_ULONG ulAADLen;
};
static_assert(sizeIs<CK_SALSA20_CHACHA20_POLY1305_PARAMS>(32, 24));

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
static_assert(sizeIs<CK_HKDF_PARAMS>(64, 38));

// Edition 3.2

struct CK_SIGN_ADDITIONAL_CONTEXT
{
    CK_ULONG hedgeVariant;
    CK_BYTE_PTR pContext;
    CK_ULONG ulContextLen;
};
static_assert(sizeIs<CK_SIGN_ADDITIONAL_CONTEXT>(24, 16));

struct CK_HASH_SIGN_ADDITIONAL_CONTEXT
{
    CK_ULONG hedgeVariant;
    CK_BYTE_PTR pContext;
    CK_ULONG ulContextLen;
    CK_MECHANISM_TYPE hash;
};
static_assert(sizeIs<CK_HASH_SIGN_ADDITIONAL_CONTEXT>(32, 20));

struct CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS
{
    CK_MECHANISM_TYPE prfHashMechanism;
    CK_BYTE_PTR pSessionHash;
    CK_ULONG ulSessionHashLen;
    CK_VERSION_PTR pVersion;
};
static_assert(sizeIs<CK_TLS12_EXTENDED_MASTER_KEY_DERIVE_PARAMS>(32, 24));

#ifdef _WIN32
#pragma pack(pop)
#endif
