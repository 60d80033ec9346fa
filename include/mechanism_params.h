// The structures of mechanism parameters, each described once: its class in Java, and the function that goes through
// its fields (parameter_fields.h).
//
// A new one needs its description here and a line in descriptionOf (mechanism_encode.cpp).
#pragma once

#include "cryptoki.h"
#include "parameter_fields.h"

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
extern const ParameterStructure kRaw; ///< no structure of its own, one block

// ---- params_derive.cpp ----

extern const ParameterStructure kKeyHandle;
extern const ParameterStructure kVersion;
extern const ParameterStructure kSSL3MasterKeyDerive;
extern const ParameterStructure kSSL3KeyMat;
extern const ParameterStructure kSSL3KeyMatOut;
extern const ParameterStructure kTLSPRF;
extern const ParameterStructure kECDH1;
extern const ParameterStructure kStringData;
extern const ParameterStructure kDesCbcEncryptData;
extern const ParameterStructure kAesCbcEncryptData;
extern const ParameterStructure kHkdf;

// ---- params_rsa_ec.cpp ----

extern const ParameterStructure kOAEP;
extern const ParameterStructure kPSS;
extern const ParameterStructure kRsaAesKeyWrap;
extern const ParameterStructure kEcdhAesKeyWrap;
extern const ParameterStructure kEddsa;

// ---- params_trace.cpp: what is printed of a parameter when debugEnabled() ----

void traceECDH1(const CK_ECDH1_DERIVE_PARAMS& ecdh);
void traceOAEP(const CK_RSA_PKCS_OAEP_PARAMS& oaep);
void tracePSS(const CK_RSA_PKCS_PSS_PARAMS& pss);
