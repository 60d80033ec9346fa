#include "session/crypt_calls.h"

#include "bridge/frame.h"
#include "bridge/stack_buffer.h"
#include "marshal/mechanism.h"

namespace {

bool pinInput(JNIEnv* env, InputBytes in, PinnedBytes* pinned)
{
    return getBuffer(env, in.array, in.offset, in.length, pinned);
}

// Pins the output after an input, which is released when that fails.
bool pinOutputBehind(JNIEnv* env, const PinnedBytes& input, OutputBytes out, PinnedBytes* pinned)
{
    if (getOutputBuffer(env, out.array, out.offset, pinned))
        return true;
    releaseBuffer(env, input, JNI_ABORT);
    return false;
}

Bytes bytesOf(const PinnedBytes& pinned)
{
    return {pinned.data, pinned.length};
}

bool runInOut(JNIEnv* env, const SessionHandles& handles, InOutFunction function, InputBytes in, OutputBytes out,
              Output* output)
{
    PinnedBytes input = {};
    PinnedBytes pinned = {};
    if (!pinInput(env, in, &input) || !pinOutputBehind(env, input, out, &pinned))
        return false;

    *output = callInOut(env, handles, function, bytesOf(input), bytesOf(pinned));

    releaseBuffer(env, pinned, 0);
    releaseBuffer(env, input, JNI_ABORT);
    return true;
}

bool runFinal(JNIEnv* env, jobject session, FinalFunction function, OutputBytes out, Output* output)
{
    SessionHandles handles = {};
    PinnedBytes pinned = {};
    if (!resolveSession(env, session, &handles) || !getOutputBuffer(env, out.array, out.offset, &pinned))
        return false;

    *output = callFinal(env, handles, function, bytesOf(pinned));

    releaseBuffer(env, pinned, 0);
    return true;
}

bool runSession(JNIEnv* env, jobject session, InOutFunction function, InputBytes in, OutputBytes out, Output* output)
{
    SessionHandles handles = {};
    return resolveSession(env, session, &handles) && runInOut(env, handles, function, in, out, output);
}

Outcome callInit(JNIEnv* env, const SessionHandles& handles, InitFunction function, const JavaMechanism& mechanism,
                 const EncodeBuffer& encoded, CK_OBJECT_HANDLE key)
{
    return callDroppingEmptyLabel(mechanism, encoded, [&] {
        return callGuarded(env, handles.list, function, handles.session, mechanismIn(encoded), key);
    });
}

// Encodes the mechanism into `encoded`, its reservation, and starts the operation.
bool startOperation(JNIEnv* env, const SessionHandles& handles, InitFunction function, const JavaMechanism& mechanism,
                    CK_OBJECT_HANDLE key, const EncodeBuffer& encoded)
{
    return encodeMechanism(env, mechanism, encoded) &&
           checkResult(env, callInit(env, handles, function, mechanism, encoded, key));
}

} // namespace

void cryptUpdateCall(JNIEnv* env, jobject session, UpdateFunction function, InputBytes in)
{
    SessionHandles handles = {};
    PinnedBytes input = {};
    if (!resolveSession(env, session, &handles) || !pinInput(env, in, &input))
        return;

    Outcome outcome = callUpdate(env, handles, function, bytesOf(input));

    releaseBuffer(env, input, JNI_ABORT);
    checkResult(env, outcome);
}

jint cryptInOutCall(JNIEnv* env, jobject session, InOutFunction function, InputBytes in, OutputBytes out)
{
    Output output = {};
    return runSession(env, session, function, in, out, &output) ? writtenLength(env, output) : 0;
}

jint cryptInOutSizedCall(JNIEnv* env, jobject session, InOutFunction function, InputBytes in, OutputBytes out)
{
    Output output = {};
    return runSession(env, session, function, in, out, &output) ? writtenOrNeededLength(env, output) : 0;
}

jint cryptFinalCall(JNIEnv* env, jobject session, FinalFunction function, OutputBytes out)
{
    Output output = {};
    return runFinal(env, session, function, out, &output) ? writtenLength(env, output) : 0;
}

jint cryptFinalSizedCall(JNIEnv* env, jobject session, FinalFunction function, OutputBytes out)
{
    Output output = {};
    return runFinal(env, session, function, out, &output) ? writtenOrNeededLength(env, output) : 0;
}

void cryptInitCall(JNIEnv* env, jobject session, InitFunction function, OperationStart start)
{
    SessionHandles handles = {};
    CK_OBJECT_HANDLE key = 0;
    if (!resolveSession(env, session, &handles) || !objectHandleOf(env, start.key, &key))
        return;

    JavaMechanism mechanism = sizeMechanism(env, start.mechanism, start.parameter);
    StackBudget budget;
    EncodeBuffer encoded;
    RESERVE_STACK(budget, encoded, mechanism.size);
    startOperation(env, handles, function, mechanism, key, encoded);
}

void encryptInitCall(JNIEnv* env, jobject session, OperationStart start)
{
    SessionHandles handles = {};
    CK_OBJECT_HANDLE key = 0;
    if (!resolveSession(env, session, &handles) || !objectHandleOf(env, start.key, &key))
        return;

    JavaMechanism mechanism = sizeMechanism(env, start.mechanism, start.parameter);
    StackBudget budget;
    EncodeBuffer encoded;
    RESERVE_STACK(budget, encoded, mechanism.size);
    if (startOperation(env, handles, &CK_FUNCTION_LIST::C_EncryptInit, mechanism, key, encoded))
        decodeMechanismParameter(env, mechanism, encoded);
}

void digestInitCall(JNIEnv* env, jobject session, jint mechanism, jobject parameter)
{
    SessionHandles handles = {};
    if (!resolveSession(env, session, &handles))
        return;

    JavaMechanism sized = sizeMechanism(env, mechanism, parameter);
    StackBudget budget;
    EncodeBuffer encoded;
    RESERVE_STACK(budget, encoded, sized.size);
    if (!encodeMechanism(env, sized, encoded))
        return;

    checkResult(env,
                callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_DigestInit, handles.session, mechanismIn(encoded)));
}

// After a start that succeeded, the operation is active until the module has returned its result or an error. It is
// still active when an array cannot be pinned, which is raised, and when the output is too small, for which the needed
// size is returned: the caller then completes it with C_Encrypt or C_Decrypt, without another start.
jint cryptDoFinalGCM(JNIEnv* env, jobject session, InitFunction init, InOutFunction function, OperationStart start,
                     InputBytes in, OutputBytes out)
{
    SessionHandles handles = {};
    if (!resolveSession(env, session, &handles))
        return 2;
    CK_OBJECT_HANDLE key = 0;
    if (!objectHandleOf(env, start.key, &key))
        return 3;

    JavaMechanism mechanism = sizeMechanism(env, start.mechanism, start.parameter);
    StackBudget budget;
    EncodeBuffer encoded;
    RESERVE_STACK(budget, encoded, mechanism.size);
    if (!encodeMechanism(env, mechanism, encoded))
        return 4;
    if (!checkResult(env, callInit(env, handles, init, mechanism, encoded, key)))
        return 5;

    Output output = {};
    return runInOut(env, handles, function, in, out, &output) ? writtenOrNeededLength(env, output) : 0;
}

jboolean verifyCall(JNIEnv* env, jobject session, InputBytes data, InputBytes signature)
{
    SessionHandles handles = {};
    PinnedBytes dataBytes = {};
    PinnedBytes signatureBytes = {};
    if (!resolveSession(env, session, &handles) || !pinInput(env, data, &dataBytes))
        return JNI_FALSE;
    if (!pinInput(env, signature, &signatureBytes)) {
        releaseBuffer(env, dataBytes, JNI_ABORT);
        return JNI_FALSE;
    }

    Outcome outcome = callVerify(env, handles, bytesOf(dataBytes), bytesOf(signatureBytes));

    releaseBuffer(env, signatureBytes, JNI_ABORT);
    releaseBuffer(env, dataBytes, JNI_ABORT);
    return signatureResult(env, outcome);
}

jboolean verifyFinalCall(JNIEnv* env, jobject session, InputBytes signature)
{
    SessionHandles handles = {};
    PinnedBytes bytes = {};
    if (!resolveSession(env, session, &handles) || !pinInput(env, signature, &bytes))
        return JNI_FALSE;

    Outcome outcome =
        callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_VerifyFinal, handles.session, bytes.data, bytes.length);

    releaseBuffer(env, bytes, JNI_ABORT);
    return signatureResult(env, outcome);
}

jint verifyRecoverCall(JNIEnv* env, jobject session, InputBytes signature, OutputBytes out)
{
    Output output = {};
    if (!runSession(env, session, &CK_FUNCTION_LIST::C_VerifyRecover, signature, out, &output))
        return 0;
    return output.outcome.rv == CKR_SIGNATURE_INVALID ? -1 : writtenLength(env, output);
}

Outcome callUpdate(JNIEnv* env, const SessionHandles& handles, UpdateFunction function, Bytes in)
{
    return callGuarded(env, handles.list, function, handles.session, in.data, in.length);
}

Output callInOut(JNIEnv* env, const SessionHandles& handles, InOutFunction function, Bytes in, Bytes out)
{
    Output output = {{}, out.length, out.length};
    output.outcome =
        callGuarded(env, handles.list, function, handles.session, in.data, in.length, out.data, &output.length);
    return output;
}

Output callFinal(JNIEnv* env, const SessionHandles& handles, FinalFunction function, Bytes out)
{
    Output output = {{}, out.length, out.length};
    output.outcome = callGuarded(env, handles.list, function, handles.session, out.data, &output.length);
    return output;
}

Outcome callVerify(JNIEnv* env, const SessionHandles& handles, Bytes data, Bytes signature)
{
    return callGuarded(env, handles.list, &CK_FUNCTION_LIST::C_Verify, handles.session, data.data, data.length,
                       signature.data, signature.length);
}

jint writtenLength(JNIEnv* env, const Output& output)
{
    bool written =
        checkResult(env, output.outcome) && require(env, output.length <= output.capacity, CKR_BUFFER_TOO_SMALL);
    return written ? toJava(output.length) : 0;
}

jint writtenOrNeededLength(JNIEnv* env, const Output& output)
{
    bool tooSmall = output.outcome.rv == CKR_BUFFER_TOO_SMALL || output.outcome.rv == CKR_OK;
    bool honestSize = output.length > output.capacity && output.length <= INT32_MAX;
    return tooSmall && honestSize ? toJava(output.length) : writtenLength(env, output);
}

jboolean signatureResult(JNIEnv* env, Outcome outcome)
{
    return outcome.rv != CKR_SIGNATURE_INVALID && checkResult(env, outcome) ? JNI_TRUE : JNI_FALSE;
}
