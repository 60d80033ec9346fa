// The native methods of NativeExtensions for direct buffers. The module reads and writes the buffers' memory,
// which is not freed while the native method refers to them. The Java caller copies an input that overlaps the output.

#include "com_kelvane_pkcs11_nat_NativeExtensions.h"

#include "bridge/frame.h"
#include "session/crypt_calls.h"

namespace {

// A range of a direct buffer as Java passes it.
struct BufferBytes
{
    jobject buffer;
    jint offset;
    jint length;
};

// The memory of a range. Raises 0x20 for a buffer that is null or not direct and for a negative offset or
// length; 0x150 for a range that ends behind the buffer.
bool findBytes(JNIEnv* env, BufferBytes range, Bytes* bytes)
{
    void* start = range.buffer != nullptr ? env->GetDirectBufferAddress(range.buffer) : nullptr;
    if (!require(env, start != nullptr && range.offset >= 0 && range.length >= 0, CKR_DATA_INVALID))
        return false;
    jlong capacity = env->GetDirectBufferCapacity(range.buffer);
    if (!require(env, jlong{range.offset} + range.length <= capacity, CKR_BUFFER_TOO_SMALL))
        return false;
    *bytes = {static_cast<CK_BYTE_PTR>(start) + range.offset, fromJava(range.length)};
    return true;
}

bool overlap(Bytes one, Bytes other)
{
    auto start = reinterpret_cast<std::uintptr_t>(one.data);
    auto otherStart = reinterpret_cast<std::uintptr_t>(other.data);
    return start < otherStart + other.length && otherStart < start + one.length;
}

using LengthOf = jint (*)(JNIEnv*, const Output&);

jint inOut(JNIEnv* env, jobject session, InOutFunction function, BufferBytes in, BufferBytes out, LengthOf lengthOf)
{
    SessionHandles handles = {};
    Bytes input = {};
    Bytes output = {};
    if (!resolveSession(env, session, &handles) || !findBytes(env, in, &input) || !findBytes(env, out, &output))
        return 0;
    if (overlap(input, output))
        return com_kelvane_pkcs11_nat_NativeExtensions_OVERLAP;
    return lengthOf(env, callInOut(env, handles, function, input, output));
}

jint final(JNIEnv* env, jobject session, FinalFunction function, BufferBytes out)
{
    SessionHandles handles = {};
    Bytes output = {};
    if (!resolveSession(env, session, &handles) || !findBytes(env, out, &output))
        return 0;
    return writtenOrNeededLength(env, callFinal(env, handles, function, output));
}

void update(JNIEnv* env, jobject session, UpdateFunction function, BufferBytes in)
{
    SessionHandles handles = {};
    Bytes input = {};
    if (resolveSession(env, session, &handles) && findBytes(env, in, &input))
        checkResult(env, callUpdate(env, handles, function, input));
}

} // namespace

jint Java_com_kelvane_pkcs11_nat_NativeExtensions_encrypt(JNIEnv* env, jclass /*type*/, jobject session, jobject in,
                                                          jint inOffset, jint inLength, jobject out, jint outOffset,
                                                          jint outLength)
{
    return inOut(env, session, &CK_FUNCTION_LIST::C_Encrypt, {in, inOffset, inLength}, {out, outOffset, outLength},
                 writtenOrNeededLength);
}

jint Java_com_kelvane_pkcs11_nat_NativeExtensions_encryptUpdate(JNIEnv* env, jclass /*type*/, jobject session,
                                                                jobject in, jint inOffset, jint inLength, jobject out,
                                                                jint outOffset, jint outLength)
{
    return inOut(env, session, &CK_FUNCTION_LIST::C_EncryptUpdate, {in, inOffset, inLength},
                 {out, outOffset, outLength}, writtenOrNeededLength);
}

jint Java_com_kelvane_pkcs11_nat_NativeExtensions_decrypt(JNIEnv* env, jclass /*type*/, jobject session, jobject in,
                                                          jint inOffset, jint inLength, jobject out, jint outOffset,
                                                          jint outLength)
{
    return inOut(env, session, &CK_FUNCTION_LIST::C_Decrypt, {in, inOffset, inLength}, {out, outOffset, outLength},
                 writtenOrNeededLength);
}

jint Java_com_kelvane_pkcs11_nat_NativeExtensions_decryptUpdate(JNIEnv* env, jclass /*type*/, jobject session,
                                                                jobject in, jint inOffset, jint inLength, jobject out,
                                                                jint outOffset, jint outLength)
{
    return inOut(env, session, &CK_FUNCTION_LIST::C_DecryptUpdate, {in, inOffset, inLength},
                 {out, outOffset, outLength}, writtenOrNeededLength);
}

jint Java_com_kelvane_pkcs11_nat_NativeExtensions_digest(JNIEnv* env, jclass /*type*/, jobject session, jobject in,
                                                         jint inOffset, jint inLength, jobject out, jint outOffset,
                                                         jint outLength)
{
    return inOut(env, session, &CK_FUNCTION_LIST::C_Digest, {in, inOffset, inLength}, {out, outOffset, outLength},
                 writtenLength);
}

jint Java_com_kelvane_pkcs11_nat_NativeExtensions_sign(JNIEnv* env, jclass /*type*/, jobject session, jobject in,
                                                       jint inOffset, jint inLength, jobject out, jint outOffset,
                                                       jint outLength)
{
    return inOut(env, session, &CK_FUNCTION_LIST::C_Sign, {in, inOffset, inLength}, {out, outOffset, outLength},
                 writtenLength);
}

jint Java_com_kelvane_pkcs11_nat_NativeExtensions_encryptFinal(JNIEnv* env, jclass /*type*/, jobject session,
                                                               jobject out, jint outOffset, jint outLength)
{
    return final(env, session, &CK_FUNCTION_LIST::C_EncryptFinal, {out, outOffset, outLength});
}

jint Java_com_kelvane_pkcs11_nat_NativeExtensions_decryptFinal(JNIEnv* env, jclass /*type*/, jobject session,
                                                               jobject out, jint outOffset, jint outLength)
{
    return final(env, session, &CK_FUNCTION_LIST::C_DecryptFinal, {out, outOffset, outLength});
}

void Java_com_kelvane_pkcs11_nat_NativeExtensions_digestUpdate(JNIEnv* env, jclass /*type*/, jobject session,
                                                               jobject in, jint inOffset, jint inLength)
{
    update(env, session, &CK_FUNCTION_LIST::C_DigestUpdate, {in, inOffset, inLength});
}

void Java_com_kelvane_pkcs11_nat_NativeExtensions_signUpdate(JNIEnv* env, jclass /*type*/, jobject session, jobject in,
                                                             jint inOffset, jint inLength)
{
    update(env, session, &CK_FUNCTION_LIST::C_SignUpdate, {in, inOffset, inLength});
}

void Java_com_kelvane_pkcs11_nat_NativeExtensions_verifyUpdate(JNIEnv* env, jclass /*type*/, jobject session,
                                                               jobject in, jint inOffset, jint inLength)
{
    update(env, session, &CK_FUNCTION_LIST::C_VerifyUpdate, {in, inOffset, inLength});
}

jboolean Java_com_kelvane_pkcs11_nat_NativeExtensions_verify(JNIEnv* env, jclass /*type*/, jobject session, jobject in,
                                                             jint inOffset, jint inLength, jobject signature,
                                                             jint signatureOffset, jint signatureLength)
{
    SessionHandles handles = {};
    Bytes data = {};
    Bytes signatureBytes = {};
    if (!resolveSession(env, session, &handles) || !findBytes(env, {in, inOffset, inLength}, &data) ||
        !findBytes(env, {signature, signatureOffset, signatureLength}, &signatureBytes))
        return JNI_FALSE;
    return signatureResult(env, callVerify(env, handles, data, signatureBytes));
}
