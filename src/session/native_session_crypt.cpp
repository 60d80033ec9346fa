// The native methods of NativePKCS11Session that encrypt, decrypt, digest, sign and verify: one call each.

#include "com_kelvane_pkcs11_nat_NativePKCS11Session.h"

#include "bridge/diagnostics.h"
#include "session/crypt_calls.h"

namespace {

void traceMechanism(const char* method, jint mechanism)
{
    if (!debugEnabled())
        return;
    debugPrint(
        "tokbridge:  Java_com_kelvane_pkcs11_nat_NativePKCS11Session_%s():  The mechanism ID passed in is: %d \n",
        method, static_cast<int>(mechanism));
    debugFlush();
}

} // namespace

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_encryptInit(JNIEnv* env, jobject session, jint mechanism,
                                                                 jobject parameter, jobject key)
{
    traceMechanism("encryptInit", mechanism);
    encryptInitCall(env, session, {mechanism, parameter, key});
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Session_encrypt(JNIEnv* env, jobject session, jbyteArray in, jint inOffset,
                                                             jint inLength, jbyteArray out, jint outOffset)
{
    return cryptInOutSizedCall(env, session, &CK_FUNCTION_LIST::C_Encrypt, {in, inOffset, inLength}, {out, outOffset});
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Session_encryptUpdate(JNIEnv* env, jobject session, jbyteArray in,
                                                                   jint inOffset, jint inLength, jbyteArray out,
                                                                   jint outOffset)
{
    return cryptInOutSizedCall(env, session, &CK_FUNCTION_LIST::C_EncryptUpdate, {in, inOffset, inLength},
                               {out, outOffset});
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Session_encryptFinal(JNIEnv* env, jobject session, jbyteArray out,
                                                                  jint outOffset)
{
    return cryptFinalSizedCall(env, session, &CK_FUNCTION_LIST::C_EncryptFinal, {out, outOffset});
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Session_encryptDoFinalGCM(JNIEnv* env, jobject session, jint mechanism,
                                                                       jobject parameter, jobject key, jbyteArray in,
                                                                       jint inOffset, jint inLength, jbyteArray out,
                                                                       jint outOffset)
{
    return cryptDoFinalGCM(env, session, &CK_FUNCTION_LIST::C_EncryptInit, &CK_FUNCTION_LIST::C_Encrypt,
                           {mechanism, parameter, key}, {in, inOffset, inLength}, {out, outOffset});
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_decryptInit(JNIEnv* env, jobject session, jint mechanism,
                                                                 jobject parameter, jobject key)
{
    traceMechanism("decryptInit", mechanism);
    cryptInitCall(env, session, &CK_FUNCTION_LIST::C_DecryptInit, {mechanism, parameter, key});
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Session_decrypt(JNIEnv* env, jobject session, jbyteArray in, jint inOffset,
                                                             jint inLength, jbyteArray out, jint outOffset)
{
    return cryptInOutSizedCall(env, session, &CK_FUNCTION_LIST::C_Decrypt, {in, inOffset, inLength}, {out, outOffset});
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Session_decryptUpdate(JNIEnv* env, jobject session, jbyteArray in,
                                                                   jint inOffset, jint inLength, jbyteArray out,
                                                                   jint outOffset)
{
    return cryptInOutSizedCall(env, session, &CK_FUNCTION_LIST::C_DecryptUpdate, {in, inOffset, inLength},
                               {out, outOffset});
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Session_decryptFinal(JNIEnv* env, jobject session, jbyteArray out,
                                                                  jint outOffset)
{
    return cryptFinalSizedCall(env, session, &CK_FUNCTION_LIST::C_DecryptFinal, {out, outOffset});
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Session_decryptDoFinalGCM(JNIEnv* env, jobject session, jint mechanism,
                                                                       jobject parameter, jobject key, jbyteArray in,
                                                                       jint inOffset, jint inLength, jbyteArray out,
                                                                       jint outOffset)
{
    return cryptDoFinalGCM(env, session, &CK_FUNCTION_LIST::C_DecryptInit, &CK_FUNCTION_LIST::C_Decrypt,
                           {mechanism, parameter, key}, {in, inOffset, inLength}, {out, outOffset});
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_digestInit(JNIEnv* env, jobject session, jint mechanism,
                                                                jobject parameter)
{
    digestInitCall(env, session, mechanism, parameter);
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Session_digest(JNIEnv* env, jobject session, jbyteArray in, jint inOffset,
                                                            jint inLength, jbyteArray out, jint outOffset)
{
    return cryptInOutCall(env, session, &CK_FUNCTION_LIST::C_Digest, {in, inOffset, inLength}, {out, outOffset});
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_digestUpdate(JNIEnv* env, jobject session, jbyteArray in,
                                                                  jint inOffset, jint inLength)
{
    cryptUpdateCall(env, session, &CK_FUNCTION_LIST::C_DigestUpdate, {in, inOffset, inLength});
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Session_digestFinal(JNIEnv* env, jobject session, jbyteArray out,
                                                                 jint outOffset)
{
    return cryptFinalCall(env, session, &CK_FUNCTION_LIST::C_DigestFinal, {out, outOffset});
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_signInit(JNIEnv* env, jobject session, jint mechanism,
                                                              jobject parameter, jobject key)
{
    cryptInitCall(env, session, &CK_FUNCTION_LIST::C_SignInit, {mechanism, parameter, key});
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Session_sign(JNIEnv* env, jobject session, jbyteArray in, jint inOffset,
                                                          jint inLength, jbyteArray out, jint outOffset)
{
    return cryptInOutCall(env, session, &CK_FUNCTION_LIST::C_Sign, {in, inOffset, inLength}, {out, outOffset});
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_signUpdate(JNIEnv* env, jobject session, jbyteArray in,
                                                                jint inOffset, jint inLength)
{
    cryptUpdateCall(env, session, &CK_FUNCTION_LIST::C_SignUpdate, {in, inOffset, inLength});
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Session_signFinal(JNIEnv* env, jobject session, jbyteArray out,
                                                               jint outOffset)
{
    return cryptFinalCall(env, session, &CK_FUNCTION_LIST::C_SignFinal, {out, outOffset});
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_signRecoverInit(JNIEnv* env, jobject session, jint mechanism,
                                                                     jobject parameter, jobject key)
{
    cryptInitCall(env, session, &CK_FUNCTION_LIST::C_SignRecoverInit, {mechanism, parameter, key});
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Session_signRecover(JNIEnv* env, jobject session, jbyteArray in,
                                                                 jint inOffset, jint inLength, jbyteArray out,
                                                                 jint outOffset)
{
    return cryptInOutCall(env, session, &CK_FUNCTION_LIST::C_SignRecover, {in, inOffset, inLength}, {out, outOffset});
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_verifyInit(JNIEnv* env, jobject session, jint mechanism,
                                                                jobject parameter, jobject key)
{
    cryptInitCall(env, session, &CK_FUNCTION_LIST::C_VerifyInit, {mechanism, parameter, key});
}

jboolean Java_com_kelvane_pkcs11_nat_NativePKCS11Session_verify(JNIEnv* env, jobject session, jbyteArray data,
                                                                jint dataOffset, jint dataLength, jbyteArray signature,
                                                                jint sigOffset, jint sigLength)
{
    return verifyCall(env, session, {data, dataOffset, dataLength}, {signature, sigOffset, sigLength});
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_verifyUpdate(JNIEnv* env, jobject session, jbyteArray in,
                                                                  jint inOffset, jint inLength)
{
    cryptUpdateCall(env, session, &CK_FUNCTION_LIST::C_VerifyUpdate, {in, inOffset, inLength});
}

jboolean Java_com_kelvane_pkcs11_nat_NativePKCS11Session_verifyFinal(JNIEnv* env, jobject session, jbyteArray signature,
                                                                     jint offset, jint length)
{
    return verifyFinalCall(env, session, {signature, offset, length});
}

void Java_com_kelvane_pkcs11_nat_NativePKCS11Session_verifyRecoverInit(JNIEnv* env, jobject session, jint mechanism,
                                                                       jobject parameter, jobject key)
{
    cryptInitCall(env, session, &CK_FUNCTION_LIST::C_VerifyRecoverInit, {mechanism, parameter, key});
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Session_verifyRecover(JNIEnv* env, jobject session, jbyteArray signature,
                                                                   jint offset, jint length, jbyteArray out,
                                                                   jint outOffset)
{
    return verifyRecoverCall(env, session, {signature, offset, length}, {out, outOffset});
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Session_digestEncryptUpdate(JNIEnv* env, jobject session, jbyteArray in,
                                                                         jint inOffset, jint inLength, jbyteArray out,
                                                                         jint outOffset)
{
    return cryptInOutCall(env, session, &CK_FUNCTION_LIST::C_DigestEncryptUpdate, {in, inOffset, inLength},
                          {out, outOffset});
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Session_decryptDigestUpdate(JNIEnv* env, jobject session, jbyteArray in,
                                                                         jint inOffset, jint inLength, jbyteArray out,
                                                                         jint outOffset)
{
    return cryptInOutCall(env, session, &CK_FUNCTION_LIST::C_DecryptDigestUpdate, {in, inOffset, inLength},
                          {out, outOffset});
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Session_signEncryptUpdate(JNIEnv* env, jobject session, jbyteArray in,
                                                                       jint inOffset, jint inLength, jbyteArray out,
                                                                       jint outOffset)
{
    return cryptInOutCall(env, session, &CK_FUNCTION_LIST::C_SignEncryptUpdate, {in, inOffset, inLength},
                          {out, outOffset});
}

jint Java_com_kelvane_pkcs11_nat_NativePKCS11Session_decryptVerifyUpdate(JNIEnv* env, jobject session, jbyteArray in,
                                                                         jint inOffset, jint inLength, jbyteArray out,
                                                                         jint outOffset)
{
    return cryptInOutCall(env, session, &CK_FUNCTION_LIST::C_DecryptVerifyUpdate, {in, inOffset, inLength},
                          {out, outOffset});
}
