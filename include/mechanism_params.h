// The encoders of structured mechanism parameters.
//
// All share one form: (env, parameter, dest, len, wrongType). `dest` is where the structure goes, *len the room there
// on entry and the structure's own length on success. They raise `wrongType` for null or an object of another class,
// and otherwise as encodeMechanism says. A missing field leaves the virtual machine's error pending.
//
// A new one needs its class here, a line in parameterSize (mechanism_size.cpp) and one in encodeParameter
// (mechanism_encode.cpp).
#pragma once

#include <jni.h>

#include "cryptoki.h"

/// The length of the initialisation vector that a token makes for a password-based mechanism.
constexpr CK_ULONG kPBEInitVector = 8;

namespace parameter_class {

constexpr const char* RC2 = "com/kelvane/pkcs11/PKCS11MechPar_RC2";
constexpr const char* RC2_CBC = "com/kelvane/pkcs11/PKCS11MechPar_RC2_CBC";
constexpr const char* RC2_GENMAC = "com/kelvane/pkcs11/PKCS11MechPar_RC2_GENMAC";
constexpr const char* RC5 = "com/kelvane/pkcs11/PKCS11MechPar_RC5";
constexpr const char* RC5_CBC = "com/kelvane/pkcs11/PKCS11MechPar_RC5_CBC";
constexpr const char* RC5_GENMAC = "com/kelvane/pkcs11/PKCS11MechPar_RC5_GENMAC";
constexpr const char* PBE = "com/kelvane/pkcs11/PKCS11MechPar_PBE";
constexpr const char* VERSION = "com/kelvane/pkcs11/CK_VERSION";
constexpr const char* GCM = "com/kelvane/pkcs11/CK_GCM_PARAMS";
constexpr const char* SSL3_RANDOM_DATA = "com/kelvane/pkcs11/CK_SSL3_RANDOM_DATA";
constexpr const char* SSL3_MASTER_KEY_DERIVE = "com/kelvane/pkcs11/CK_SSL3_MASTER_KEY_DERIVE_PARAMS";
constexpr const char* SSL3_KEY_MAT_OUT = "com/kelvane/pkcs11/CK_SSL3_KEY_MAT_OUT";
constexpr const char* SSL3_KEY_MAT = "com/kelvane/pkcs11/CK_SSL3_KEY_MAT_PARAMS";
constexpr const char* TLS_PRF = "com/kelvane/pkcs11/CK_TLS_PRF_PARAMS";
constexpr const char* ECDH1 = "com/kelvane/pkcs11/CK_ECDH1_DERIVE_PARAMS";
constexpr const char* OAEP = "com/kelvane/pkcs11/CK_RSA_PKCS_OAEP_PARAMS";
constexpr const char* PSS = "com/kelvane/pkcs11/CK_RSA_PKCS_PSS_PARAMS";

} // namespace parameter_class

// ---- params_cipher.cpp ----

bool encodeRC2Params(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType);
bool encodeRC2CBCParams(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType);
bool encodeRC2MacGeneralParams(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType);
bool encodeRC5Params(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType);
bool encodeRC5CBCParams(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType);
bool encodeRC5MacGeneralParams(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType);
bool encodePBEParams(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType);
bool encodeGCMParams(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType);

// ---- params_derive.cpp ----

/// The one encoder that needs to know the library: the key's number may be a stand-in.
bool encodeKeyHandle(JNIEnv* env, CK_FUNCTION_LIST_PTR list, jobject parameter, void* dest, CK_ULONG* len,
                     CK_RV wrongType);
bool encodeVersion(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType);
bool encodeSSL3MasterKeyDeriveParams(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType);
bool encodeSSL3KeyMatParams(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType);
bool encodeTLSPRFParams(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType);
bool encodedECDH1_DERIVE(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType);

// ---- params_padding.cpp ----

bool encode_RSA_PKCS_OAEP_PARAMS(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType);
bool encode_RSA_PKCS_PSS_PARAMS(JNIEnv* env, jobject parameter, void* dest, CK_ULONG* len, CK_RV wrongType);

// ---- params_trace.cpp: what the encoders print when debugEnabled() ----

void traceECDH1(const CK_ECDH1_DERIVE_PARAMS& ecdh);
void traceOAEP(const CK_RSA_PKCS_OAEP_PARAMS& oaep);
void tracePSS(const CK_RSA_PKCS_PSS_PARAMS& pss);
