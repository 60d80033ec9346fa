// The parameters of mechanisms, each described once (parameter_fields.h).
//
// A new one needs its structure in cryptoki_parameters.h, its descriptor here and in the params_*.cpp of its theme, and
// the rows of its mechanisms in mechanism_table.cpp.
#pragma once

#include "bridge/cryptoki_parameters.h"
#include "marshal/parameter_fields.h"

/// The length of the initialisation vector that a token generates for a password-based mechanism.
constexpr CK_ULONG kPBEInitVector = 8;

// ---- params_plain.cpp: values that are no structure ----

extern const ParameterDescriptor kNone;        ///< no parameter, and no object
extern const ParameterDescriptor kNumber;      ///< an Integer
extern const ParameterDescriptor kIv;          ///< a byte[]; null is one of no bytes
extern const ParameterDescriptor kOptionalIv;  ///< a byte[]; null is no parameter
extern const ParameterDescriptor kTokenIv;     ///< a byte[], which the token may fill
extern const ParameterDescriptor kPublicValue; ///< a BigInteger; null is one of no bytes
extern const ParameterDescriptor kKeyHandle;   ///< a NativePKCS11Object
extern const ParameterDescriptor kVersion;
extern const ParameterDescriptor kRaw;        ///< a PKCS11RawParameter, whose bytes are the parameter
extern const ParameterDescriptor kNotEncoded; ///< "parameter encoding not yet implemented!"
extern const ParameterDescriptor kUnknown;    ///< "unknown mechanism parameter type!"

// ---- params_cipher.cpp ----

extern const ParameterDescriptor kRC2;
extern const ParameterDescriptor kRC2CBC;
extern const ParameterDescriptor kRC2MacGeneral;
extern const ParameterDescriptor kRC5;
extern const ParameterDescriptor kRC5CBC;
extern const ParameterDescriptor kRC5MacGeneral;
extern const ParameterDescriptor kPBE;
extern const ParameterDescriptor kGCM;
extern const ParameterDescriptor kAesCtr;
extern const ParameterDescriptor kCcm;
extern const ParameterDescriptor kPoly1305;
extern const ParameterDescriptor kChaCha20;
extern const ParameterDescriptor kSalsa20;

// ---- params_derive.cpp ----

extern const ParameterDescriptor kSSL3MasterKeyDerive;   ///< the version is returned
extern const ParameterDescriptor kSSL3MasterKeyDeriveDh; ///< nothing is returned
extern const ParameterDescriptor kSSL3KeyMat;
extern const ParameterDescriptor kRandomData;

/// Where the structure of kSSL3KeyMatOut, which a token fills, has been placed, with its two IVs behind it.
struct KeyMaterialPlace
{
    CK_ULONG ivSizeInBits;
    CK_SSL3_KEY_MAT_OUT* place;
};

extern const ParameterDescriptor kSSL3KeyMatOut; ///< of a KeyMaterialPlace, which has the size

extern const ParameterDescriptor kTLSPRF;
extern const ParameterDescriptor kECDH1;
extern const ParameterDescriptor kStringData;
extern const ParameterDescriptor kDesCbcEncryptData;
extern const ParameterDescriptor kAesCbcEncryptData;
extern const ParameterDescriptor kHkdf;
extern const ParameterDescriptor kX942Dh1;
extern const ParameterDescriptor kX942Dh2;
extern const ParameterDescriptor kX942Mqv;

// ---- params_tls12.cpp ----

extern const ParameterDescriptor kTls12MasterKeyDerive;
extern const ParameterDescriptor kTls12ExtendedMasterKeyDerive;
extern const ParameterDescriptor kTls12KeyMat;
extern const ParameterDescriptor kTlsMac;
extern const ParameterDescriptor kTlsKdf;

// ---- params_sp800.cpp ----

extern const ParameterDescriptor kSp800Kdf;
extern const ParameterDescriptor kSp800FeedbackKdf;
extern const ParameterDescriptor kDerivedKey; ///< an element of either's pAdditionalDerivedKeys

// ---- params_sign.cpp ----

extern const ParameterDescriptor kOAEP;
extern const ParameterDescriptor kPSS;
extern const ParameterDescriptor kRsaAesKeyWrap;
extern const ParameterDescriptor kEcdhAesKeyWrap;
extern const ParameterDescriptor kEddsa;
extern const ParameterDescriptor kXeddsa;
extern const ParameterDescriptor kSignContext;
extern const ParameterDescriptor kHashSignContext;

// ---- params_output.cpp: what a module writes into a parameter ----

extern const ParameterOutput kPBEOutput;
extern const ParameterOutput kTokenIvOutput;
extern const ParameterOutput kSSL3VersionOutput;
extern const ParameterOutput kTls12VersionOutput;
extern const ParameterOutput kTls12ExtendedVersionOutput;
extern const ParameterOutput kSSL3KeyMatOutput;
extern const ParameterOutput kTls12KeyMatOutput;
extern const ParameterOutput kTLSPRFOutput;
extern const ParameterOutput kSp800Output;
extern const ParameterOutput kSp800FeedbackOutput;

// ---- params_trace.cpp: the debug lines of a parameter ----

void traceECDH1(const CK_ECDH1_DERIVE_PARAMS& ecdh);
void traceOAEP(const CK_RSA_PKCS_OAEP_PARAMS& oaep);
void tracePSS(const CK_RSA_PKCS_PSS_PARAMS& pss);
