// The Cryptoki types, laid out as the platform's modules expect them, and the conversions between them and Java.
//
// The installed header decides the layout: natural alignment and an 8-byte CK_ULONG on Unix, 1-byte packing and a
// 4-byte CK_ULONG on Windows. The structures that it lacks are declared here under the same rule, and
// cryptoki_layout.cpp pins the sizes and offsets of both. No size is written as a number anywhere else.
//
// The installed header leaves some of its member names defined as macros (iv_len, hash_alg, shared_data, ...): they
// cannot serve as names of variables.
#pragma once

#include <cstddef>
#include <cstdint>

#include <p11-kit/pkcs11.h>

#if defined(_WIN32) || defined(CRYPTOKI_FORCE_WIN32)
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

struct CK_TLS_PRF_PARAMS
{
    CK_BYTE_PTR pSeed;
    CK_ULONG ulSeedLen;
    CK_BYTE_PTR pLabel;
    CK_ULONG ulLabelLen;
    CK_BYTE_PTR pOutput;
    CK_ULONG_PTR pulOutputLen;
};

// Structures of the editions 2.40 and 3.0, with names of our own: a later header has those of the standard.

struct CcmParams // CK_CCM_PARAMS
{
    CK_ULONG ulDataLen;
    CK_BYTE_PTR pNonce;
    CK_ULONG ulNonceLen;
    CK_BYTE_PTR pAAD;
    CK_ULONG ulAADLen;
    CK_ULONG ulMACLen;
};

struct RsaAesKeyWrapParams // CK_RSA_AES_KEY_WRAP_PARAMS
{
    CK_ULONG ulAESKeyBits;
    CK_RSA_PKCS_OAEP_PARAMS* pOAEPParams;
};

struct EcdhAesKeyWrapParams // CK_ECDH_AES_KEY_WRAP_PARAMS
{
    CK_ULONG ulAESKeyBits;
    CK_ULONG kdf;
    CK_ULONG ulSharedDataLen;
    CK_BYTE_PTR pSharedData;
};

struct EddsaParams // CK_EDDSA_PARAMS
{
    CK_BBOOL phFlag;
    CK_ULONG ulContextDataLen;
    CK_BYTE_PTR pContextData;
};

struct Poly1305Params // CK_SALSA20_CHACHA20_POLY1305_PARAMS
{
    CK_BYTE_PTR pNonce;
    CK_ULONG ulNonceLen;
    CK_BYTE_PTR pAAD;
    CK_ULONG ulAADLen;
};

struct HkdfParams // CK_HKDF_PARAMS
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

#if defined(_WIN32) || defined(CRYPTOKI_FORCE_WIN32)
/// The five-field form that packed modules expect.
struct GcmParams
{
    CK_BYTE_PTR pIv;
    CK_ULONG ulIvLen;
    CK_BYTE_PTR pAAD;
    CK_ULONG ulAADLen;
    CK_ULONG ulTagBits;
};

inline void setIvBits(GcmParams*)
{
}

#pragma pack(pop)
#else
/// The six-field form: some modules refuse the five-field one, others six fields with 0 bits.
using GcmParams = CK_GCM_PARAMS;

inline void setIvBits(GcmParams* gcm)
{
    gcm->ulIvBits = 8 * gcm->ulIvLen;
}
#endif

/// Numbers of the edition 3.0, without the prefixes CKA_ and CKM_: under its whole name each is a macro of later
/// headers.
namespace edition3 {

constexpr CK_ATTRIBUTE_TYPE UNIQUE_ID = 0x4;

constexpr CK_MECHANISM_TYPE SHA3_256_RSA_PKCS_PSS = 0x63;
constexpr CK_MECHANISM_TYPE SHA3_384_RSA_PKCS_PSS = 0x64;
constexpr CK_MECHANISM_TYPE SHA3_512_RSA_PKCS_PSS = 0x65;
constexpr CK_MECHANISM_TYPE SHA3_224_RSA_PKCS_PSS = 0x67;
constexpr CK_MECHANISM_TYPE SHA3_256_HMAC_GENERAL = 0x2B2;
constexpr CK_MECHANISM_TYPE SHA3_224_HMAC_GENERAL = 0x2B7;
constexpr CK_MECHANISM_TYPE SHA3_384_HMAC_GENERAL = 0x2C2;
constexpr CK_MECHANISM_TYPE SHA3_512_HMAC_GENERAL = 0x2D2;
constexpr CK_MECHANISM_TYPE CHACHA20_POLY1305 = 0x4021;
constexpr CK_MECHANISM_TYPE SALSA20_POLY1305 = 0x4022;
constexpr CK_MECHANISM_TYPE HKDF_DERIVE = 0x402A;
constexpr CK_MECHANISM_TYPE HKDF_DATA = 0x402B;

} // namespace edition3

/// A Java int as an unsigned Cryptoki value: 0x80000001 stays 0x80000001, whatever the width of CK_ULONG.
inline CK_ULONG fromJava(std::int32_t value)
{
    return static_cast<std::uint32_t>(value);
}

/// A Cryptoki value as a Java int: its low 32 bits.
inline std::int32_t toJava(CK_ULONG value)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

/// Whether an id comes back from Java as it was; a cut one would stand for another slot. Session and object handles
/// have conversions of their own (stand_ins.h).
inline bool survivesJava(CK_SLOT_ID slot)
{
    return fromJava(toJava(slot)) == slot;
}

/// A version as one Java int: major × 256 + minor.
inline std::int32_t toJava(const CK_VERSION& version)
{
    return version.major * 256 + version.minor;
}
