// The six routines that the cryptographic operations pass through. Each takes the Cryptoki function as a member of the
// function list; functions of one shape have one pointer type.
//
// CKR_BUFFER_TOO_SMALL, said once: the two Sized routines, and they alone, answer it with the size that the token asks
// for and raise nothing, so that a caller who gets back more than the room it offered tries again with a larger array.
// Encryption and decryption go through them; for every other operation the code is raised. An honest size is larger
// than the room: one that would have fitted, or that no Java array can have, is raised as 0x150 by both.
//
// Input is released with JNI_ABORT and output copied back, whatever the module answered. All of them resolve the
// session first, then pin the input, then the output; they raise as those steps do and return 0.
#pragma once

#include "bridge/bridge_lock.h"
#include "bridge/buffers.h"
#include "bridge/resolve.h"
#include "bridge/stack_buffer.h"

/// A stretch of an input array as Java passes it.
struct InputBytes
{
    jbyteArray array;
    jint offset;
    jint length;
};

/// An output array as Java passes it: the room reaches from the offset to the array's end.
struct OutputBytes
{
    jbyteArray array;
    jint offset;
};

using UpdateFunction = decltype(&CK_FUNCTION_LIST::C_DigestUpdate);
using InOutFunction = decltype(&CK_FUNCTION_LIST::C_Encrypt);
using FinalFunction = decltype(&CK_FUNCTION_LIST::C_EncryptFinal);
using InitFunction = decltype(&CK_FUNCTION_LIST::C_EncryptInit);

/// A mechanism, its parameter and the key that an operation starts with, as Java passes them.
struct OperationStart
{
    jint mechanism;
    jobject parameter;
    jobject key;
};

void cryptUpdateCall(JNIEnv* env, jobject session, UpdateFunction function, InputBytes in);
jint cryptInOutCall(JNIEnv* env, jobject session, InOutFunction function, InputBytes in, OutputBytes out);
jint cryptInOutSizedCall(JNIEnv* env, jobject session, InOutFunction function, InputBytes in, OutputBytes out);
jint cryptFinalCall(JNIEnv* env, jobject session, FinalFunction function, OutputBytes out);
jint cryptFinalSizedCall(JNIEnv* env, jobject session, FinalFunction function, OutputBytes out);

/// Starts an operation. Returns silently for a key whose handle is 0.
void cryptInitCall(JNIEnv* env, jobject session, InitFunction function, OperationStart start);

// ---- The operations with steps of their own ----

/// cryptInitCall with C_EncryptInit, after which an initialisation vector made by the token goes back into the
/// parameter.
void encryptInitCall(JNIEnv* env, jobject session, OperationStart start);

/// Starts a digest, which has no key.
void digestInitCall(JNIEnv* env, jobject session, jint mechanism, jobject parameter);

/// Starts an operation and runs it in one part, as cryptInOutSizedCall does. What ends it before that is told by small
/// numbers: 2 the session was not resolved, 3 the key's handle is 0 (nothing is raised then), 4 the mechanism was not
/// encoded, 5 the start was refused.
jint cryptDoFinalGCM(JNIEnv* env, jobject session, InitFunction init, InOutFunction function, OperationStart start,
                     InputBytes in, OutputBytes out);

/// C_Verify. False without an exception for CKR_SIGNATURE_INVALID.
jboolean verifyCall(JNIEnv* env, jobject session, InputBytes data, InputBytes signature);

/// C_VerifyFinal. As verifyCall.
jboolean verifyFinalCall(JNIEnv* env, jobject session, InputBytes signature);

/// C_VerifyRecover. -1 without an exception for CKR_SIGNATURE_INVALID.
jint verifyRecoverCall(JNIEnv* env, jobject session, InputBytes signature, OutputBytes out);

// ---- The same calls on memory that is not an array's ----

/// Memory that a call reads, or writes from its start.
struct Bytes
{
    CK_BYTE_PTR data;
    CK_ULONG length;
};

/// What a call with an output buffer came to.
struct Output
{
    Outcome outcome;
    CK_ULONG length;
    CK_ULONG capacity;
};

Outcome callUpdate(JNIEnv* env, const SessionHandles& handles, UpdateFunction function, Bytes in);
Output callInOut(JNIEnv* env, const SessionHandles& handles, InOutFunction function, Bytes in, Bytes out);
Output callFinal(JNIEnv* env, const SessionHandles& handles, FinalFunction function, Bytes out);
Outcome callVerify(JNIEnv* env, const SessionHandles& handles, Bytes data, Bytes signature);

/// The number of bytes written; any failure is raised. A module that claims more than the capacity has not written
/// them.
jint writtenLength(JNIEnv* env, const Output& output);

/// The same, or the size that the token asks for when the capacity was too small.
jint writtenOrNeededLength(JNIEnv* env, const Output& output);

/// True for a good signature, false for a wrong one; any other code is raised.
jboolean signatureResult(JNIEnv* env, Outcome outcome);
