// Encoding a mechanism and its Java parameter as a CK_MECHANISM, and returning to Java what a token wrote into it.
//
// One reservation of the native method holds it all: the CK_MECHANISM, the parameter's structure behind it, and behind
// that, without alignment, every block that the structure points to:
//
//     CKM_AES_GCM with a 12-byte IV and 3 bytes of AAD, offsets of a Unix build
//      0  CK_MECHANISM   mechanism=0x1087 pParameter=+24 ulParameterLen=48
//     24  CK_GCM_PARAMS  pIv=+72 ulIvLen=12 ulIvBits=96 pAAD=+84 ulAADLen=3 ulTagBits=128
//     72  the IV
//     84  the AAD
//
// The mechanism's row in the table decides which structure that is, not the class of the Java object; the class is only
// checked. A PKCS11RawParameter's bytes are passed on unchanged for a mechanism without a row, and for those for which
// null is no parameter, for modules that expect another layout. Everything here runs on the calling
// thread outside the bridge lock and keeps no state.
#pragma once

#include <jni.h>

#include "bridge/bridge_lock.h"
#include "bridge/cryptoki.h"
#include "bridge/resolve.h"
#include "bridge/stack_buffer.h"

struct ParameterDescriptor;

/// A mechanism as Java passes it, and the result of sizing it: each is looked up once in a native call.
struct JavaMechanism
{
    CK_MECHANISM_TYPE type;
    jobject parameter;
    const ParameterDescriptor* descriptor;
    jclass parameterClass; ///< the descriptor's; null when the parameter is of another class
    std::size_t size;      ///< of the mechanism and its parameter, encoded
    bool failed;           ///< the virtual machine's error is pending
};

/// Sizes a mechanism and its parameter. Raises nothing: encodeMechanism raises the errors that sizing found.
JavaMechanism sizeMechanism(JNIEnv* env, jint mechanism, jobject parameter);

/// The CK_MECHANISM at the start of a reservation.
inline CK_MECHANISM* mechanismIn(const EncodeBuffer& buffer)
{
    return reinterpret_cast<CK_MECHANISM*>(buffer.bytes);
}

/// Encodes a mechanism into a reservation of its size. Raises "no space for encoded mechanism / parameter!" for a
/// refused reservation; 0x71 for a parameter of a wrong class, one that is missing or superfluous, and a Java length or
/// size that reaches outside the parameter's own bytes; "parameter encoding not yet implemented!"; "unknown mechanism
/// parameter type!"; "encodeByteArray(): can't get elements"; "no space for encoded attribute!" for an array that has
/// grown since it was sized.
bool encodeMechanism(JNIEnv* env, const JavaMechanism& mechanism, const EncodeBuffer& buffer);

/// Writes the name of the parameter that a mechanism takes, "CK_HKDF_PARAMS or none" for example, or the text of its
/// refusal. False when the parameter's class is right, or null is.
bool describeParameter(const JavaMechanism& mechanism, char* text, std::size_t capacity);

/// Replaces the pointer to the empty label of OAEP, alone or in RSA-AES key wrapping, by a null pointer: some modules
/// refuse the former with `rv`. False when there is no such pointer, or for another code.
bool dropEmptyOaepLabel(const JavaMechanism& mechanism, const EncodeBuffer& encoded, CK_RV rv);

/// Calls the module, and at most once more, without the empty label. The decision does
/// not depend on what the module has written into the mechanism.
template <typename Call>
Outcome callDroppingEmptyLabel(const JavaMechanism& mechanism, const EncodeBuffer& encoded, Call call)
{
    Outcome outcome = call();
    return !outcome.lockFailed && dropEmptyOaepLabel(mechanism, encoded, outcome.rv) ? call() : outcome;
}

// ---- params_output.cpp ----

/// Copies the initialisation vector that a token generated back into the Java parameter: 8 bytes into a
/// PKCS11MechPar_PBE's iv, 20 into the byte[] of the Skipjack, Baton and Juniper mechanisms; nothing for any other
/// mechanism. Raises 0x150 for a shorter array and "decodeByteArray(): can't get elements" for null.
bool decodeMechanismParameter(JNIEnv* env, const JavaMechanism& mechanism, const EncodeBuffer& encoded);

/// Destroys the keys that a derivation has created besides its own, none of which reaches Java: those of SSL3 and TLS
/// key material, the additional keys of SP 800-108; nothing for any other mechanism.
void discardDerivedKeys(JNIEnv* env, const SessionHandles& session, const JavaMechanism& mechanism,
                        const EncodeBuffer& encoded);

/// Copies the outputs of a derivation to its Java parameter: the version of an SSL3 or TLS master key, the keys and
/// IVs of SSL3 and TLS key material (handles are those of `session`), the output of the TLS pseudo-random function, the
/// additional keys of SP 800-108; nothing for any other mechanism. Raises 0x150 for an array longer than its output,
/// "decodeByteArray(): can't get elements", and for a key that no field can hold, which is destroyed; the other
/// outputs are still returned.
void returnDerivedOutput(JNIEnv* env, const JavaMechanism& mechanism, jobject session, const SessionHandles& handles,
                         const EncodeBuffer& encoded);
