// The structures of mechanism parameters, each described once: its class in Java, and the function that goes through
// its fields (parameter_fields.h).
//
// A new one needs its description here and a line in descriptionOf (mechanism_encode.cpp).
#pragma once

#include "bridge/cryptoki.h"
#include "marshal/parameter_fields.h"

/// The length of the initialisation vector that a token makes for a password-based mechanism.
constexpr CK_ULONG kPBEInitVector = 8;

// ---- params_cipher.cpp ----

extern const ParameterStructure kRC2;
extern const ParameterStructure kRC2CBC;
extern const ParameterStructure kRC2MacGeneral;
extern const ParameterStructure kRC5;
extern const ParameterStructure kRC5CBC;
extern const ParameterStructure kRC5MacGeneral;
extern const ParameterStructure kPBE;
extern const ParameterStructure kGCM;
extern const ParameterStructure kAesCtr;
extern const ParameterStructure kCcm;
extern const ParameterStructure kPoly1305;
extern const ParameterStructure kChaCha20;
extern const ParameterStructure kSalsa20;
extern const ParameterStructure kRaw; ///< no structure of its own, one block

// ---- params_derive.cpp ----

extern const ParameterStructure kKeyHandle;
extern const ParameterStructure kVersion;
extern const ParameterStructure kSSL3MasterKeyDerive;
extern const ParameterStructure kSSL3KeyMat;
extern const ParameterStructure kRandomData;

/// Where the structure of kSSL3KeyMatOut, which a token fills, has been placed, with its two IVs behind it.
struct KeyMaterialPlace
{
    CK_ULONG ivSizeInBits;
    CK_SSL3_KEY_MAT_OUT* place;
};

extern const ParameterStructure kSSL3KeyMatOut; ///< fills a KeyMaterialPlace that tells the size

extern const ParameterStructure kTLSPRF;
extern const ParameterStructure kECDH1;
extern const ParameterStructure kStringData;
extern const ParameterStructure kDesCbcEncryptData;
extern const ParameterStructure kAesCbcEncryptData;
extern const ParameterStructure kHkdf;
extern const ParameterStructure kX942Dh1;
extern const ParameterStructure kX942Dh2;
extern const ParameterStructure kX942Mqv;

// ---- params_tls12.cpp ----

extern const ParameterStructure kTls12MasterKeyDerive;
extern const ParameterStructure kTls12ExtendedMasterKeyDerive;
extern const ParameterStructure kTls12KeyMat;
extern const ParameterStructure kTlsMac;
extern const ParameterStructure kTlsKdf;

// ---- params_sp800.cpp ----

extern const ParameterStructure kSp800Kdf;
extern const ParameterStructure kSp800FeedbackKdf;
extern const ParameterStructure kDerivedKey; ///< an element of either's pAdditionalDerivedKeys

// ---- params_sign.cpp ----

extern const ParameterStructure kOAEP;
extern const ParameterStructure kPSS;
extern const ParameterStructure kRsaAesKeyWrap;
extern const ParameterStructure kEcdhAesKeyWrap;
extern const ParameterStructure kEddsa;
extern const ParameterStructure kXeddsa;
extern const ParameterStructure kSignContext;
extern const ParameterStructure kHashSignContext;

// ---- params_trace.cpp: what is printed of a parameter when debugEnabled() ----

void traceECDH1(const CK_ECDH1_DERIVE_PARAMS& ecdh);
void traceOAEP(const CK_RSA_PKCS_OAEP_PARAMS& oaep);
void tracePSS(const CK_RSA_PKCS_PSS_PARAMS& pss);
