// Every native method but loadPKCS11Library, with its arguments as letters, and what comes of a plain call on the stub
// module: "its calls -> the result and the output". S and K are the handles of session and key.
//
// m a mechanism, p its parameter; t the type of an attribute, v its value; T the types of a template, V its values; k a
// key; s a session, L a library; o any object, c one that is mostly null; b a byte[], w one that is written to, d and D
// direct buffers, f an offset in one of them, n a length; N how many types; i an int; z a boolean.
#pragma once

#include "com_kelvane_pkcs11_nat_NativeExtensions.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11Object.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11Session.h"
#include "com_kelvane_pkcs11_nat_NativePKCS11Slot.h"

// clang-format off
#define NATIVE_METHODS(X) \
    X(LIBRARY, libInitialize, "", "") \
    X(LIBRARY, libFinalize, "", "") \
    X(LIBRARY, getInfo, "", \
      "C_GetInfo -> NativePKCS11Info(0x214,'maker',0x7,'two words\t',0x301,'KELVANE tokbridge %I% (Evaluation " \
      "copy)')") \
    X(LIBRARY, getSlotList, "z", \
      "C_GetSlotList 1 room=0; C_GetSlotList 1 room=3 -> {NativePKCS11Slot(@,0x1) NativePKCS11Slot(@,0x2) " \
      "NativePKCS11Slot(@,0x80000003)}") \
    X(LIBRARY, waitForSlotEvent, "z", "C_WaitForSlotEvent 0 -> NativePKCS11Slot(@,0x11)") \
    X(SLOT, getInfo, "", "C_GetSlotInfo 5 -> PKCS11SlotInfo('slot','maker',0x7,0x214,0x301)") \
    X(SLOT, getTokenInfo, "", \
      "C_GetTokenInfo 5 -> PKCS11TokenInfo('label','maker','model','1',0x40,0x1,0x2,0x3,0x4,0x5,0x6,0x7,0x8,0x9," \
      "0xa,0x214,0x301,'2024022900000000')") \
    X(SLOT, getMechanismList, "", "C_GetMechanismList 5 room=0; C_GetMechanismList 5 room=3 -> {0x1 0x2 0x80000003}") \
    X(SLOT, getMechanismInfo, "i", "C_GetMechanismInfo 5 80000005 -> PKCS11MechanismInfo(0x1,0x2,0x80000003)") \
    X(SLOT, initToken, "oo", "C_InitToken 5 '3132' '12                              ' -> ") \
    X(SLOT, openSession, "ic", "C_OpenSession 5 80000005 -> NativePKCS11Session(@,0x11)") \
    X(SLOT, closeAllSessions, "", "C_CloseAllSessions 5 -> ") \
    X(SESSION, close, "", "C_CloseSession S -> ") \
    X(SESSION, getInfo, "", "C_GetSessionInfo S -> PKCS11SessionInfo(0x80000003,0x4,0x5)") \
    X(SESSION, login, "zo", "C_Login S 0 '3132' -> ") \
    X(SESSION, logout, "", "C_Logout S -> ") \
    X(SESSION, initPIN, "o", "C_InitPIN S '3132' -> ") \
    X(SESSION, setPIN, "oo", "C_SetPIN S '3132' '3132' -> ") \
    X(SESSION, getOperationState, "", "C_GetOperationState S room=0; C_GetOperationState S room=2 -> 6162") \
    X(SESSION, setOperationState, "bkk", "C_SetOperationState S '010203' K K -> ") \
    X(SESSION, getFunctionStatus, "", "C_GetFunctionStatus S -> 1") \
    X(SESSION, cancelFunction, "", "C_CancelFunction S -> ") \
    X(SESSION, generateRandom, "wfn", "C_GenerateRandom S '0000' -> ") \
    X(SESSION, seedRandom, "bfn", "C_SeedRandom S '0203' -> ") \
    X(SESSION, encryptInit, "mpk", "C_EncryptInit S {1082 '0102'} K -> ") \
    X(SESSION, encrypt, "bfnwf", "C_Encrypt S '0203' room=3 -> 2 out=00616200") \
    X(SESSION, encryptUpdate, "bfnwf", "C_EncryptUpdate S '0203' room=3 -> 2 out=00616200") \
    X(SESSION, encryptFinal, "wf", "C_EncryptFinal S room=3 -> 2 out=00616200") \
    X(SESSION, encryptDoFinalGCM, "mpkbfnwf", \
      "C_EncryptInit S {1082 '0102'} K; C_Encrypt S '0203' room=3 -> 2 out=00616200") \
    X(SESSION, decryptInit, "mpk", "C_DecryptInit S {1082 '0102'} K -> ") \
    X(SESSION, decrypt, "bfnwf", "C_Decrypt S '0203' room=3 -> 2 out=00616200") \
    X(SESSION, decryptUpdate, "bfnwf", "C_DecryptUpdate S '0203' room=3 -> 2 out=00616200") \
    X(SESSION, decryptFinal, "wf", "C_DecryptFinal S room=3 -> 2 out=00616200") \
    X(SESSION, decryptDoFinalGCM, "mpkbfnwf", \
      "C_DecryptInit S {1082 '0102'} K; C_Decrypt S '0203' room=3 -> 2 out=00616200") \
    X(SESSION, digestInit, "mp", "C_DigestInit S {1082 '0102'} -> ") \
    X(SESSION, digest, "bfnwf", "C_Digest S '0203' room=3 -> 2 out=00616200") \
    X(SESSION, digestUpdate, "bfn", "C_DigestUpdate S '0203' -> ") \
    X(SESSION, digestKey, "k", "C_DigestKey S K -> ") \
    X(SESSION, digestFinal, "wf", "C_DigestFinal S room=3 -> 2 out=00616200") \
    X(SESSION, signInit, "mpk", "C_SignInit S {1082 '0102'} K -> ") \
    X(SESSION, sign, "bfnwf", "C_Sign S '0203' room=3 -> 2 out=00616200") \
    X(SESSION, signUpdate, "bfn", "C_SignUpdate S '0203' -> ") \
    X(SESSION, signFinal, "wf", "C_SignFinal S room=3 -> 2 out=00616200") \
    X(SESSION, signRecoverInit, "mpk", "C_SignRecoverInit S {1082 '0102'} K -> ") \
    X(SESSION, signRecover, "bfnwf", "C_SignRecover S '0203' room=3 -> 2 out=00616200") \
    X(SESSION, verifyInit, "mpk", "C_VerifyInit S {1082 '0102'} K -> ") \
    X(SESSION, verify, "bfnbfn", "C_Verify S '0203' '0203' -> 1") \
    X(SESSION, verifyUpdate, "bfn", "C_VerifyUpdate S '0203' -> ") \
    X(SESSION, verifyFinal, "bfn", "C_VerifyFinal S '0203' -> 1") \
    X(SESSION, verifyRecoverInit, "mpk", "C_VerifyRecoverInit S {1082 '0102'} K -> ") \
    X(SESSION, verifyRecover, "bfnwf", "C_VerifyRecover S '0203' room=3 -> 2 out=00616200") \
    X(SESSION, digestEncryptUpdate, "bfnwf", "C_DigestEncryptUpdate S '0203' room=3 -> 2 out=00616200") \
    X(SESSION, decryptDigestUpdate, "bfnwf", "C_DecryptDigestUpdate S '0203' room=3 -> 2 out=00616200") \
    X(SESSION, signEncryptUpdate, "bfnwf", "C_SignEncryptUpdate S '0203' room=3 -> 2 out=00616200") \
    X(SESSION, decryptVerifyUpdate, "bfnwf", "C_DecryptVerifyUpdate S '0203' room=3 -> 2 out=00616200") \
    X(SESSION, generateKey, "mpTV", "C_GenerateKey S {1082 '0102'} $T -> NativePKCS11Object(@,0x11)") \
    X(SESSION, generateKeyPair, "mpTVTV", \
      "C_GenerateKeyPair S {1082 '0102'} $T $T -> {NativePKCS11Object(@,0x11) NativePKCS11Object(@,0x12)}") \
    X(SESSION, wrapKey, "mpkkwf", "C_WrapKey S {1082 '0102'} K K room=3 -> 2 out=00616200") \
    X(SESSION, unwrapKey, "mpkbfnTV", "C_UnwrapKey S {1082 '0102'} K '0203' $T -> NativePKCS11Object(@,0x11)") \
    X(SESSION, deriveKey, "mpkTV", "C_DeriveKey S {1082 '0102'} K $T -> NativePKCS11Object(@,0x11)") \
    X(SESSION, createObject, "TV", "C_CreateObject S $T -> NativePKCS11Object(@,0x11)") \
    X(SESSION, copy, "kTV", "C_CopyObject S K $T -> NativePKCS11Object(@,0x11)") \
    X(SESSION, destroyObject, "k", "C_DestroyObject S K -> ") \
    X(SESSION, findObjectsInit, "TV", "C_FindObjectsInit S $T -> ") \
    X(SESSION, findObject, "", "C_FindObjects S 1 -> NativePKCS11Object(@,0x11)") \
    X(SESSION, findObjectsFinal, "", "C_FindObjectsFinal S -> ") \
    X(SESSION, getBoolAttributeValue, "kt", "C_GetAttributeValue S K 1/1 -> 1") \
    X(SESSION, getIntAttributeValue, "kt", "C_GetAttributeValue S K 0/$U -> -2147483643") \
    X(SESSION, getStringAttributeValue, "kt", "C_GetAttributeValue S K 3/0; C_GetAttributeValue S K 3/4 -> 'key '") \
    X(SESSION, getByteArrayAttributeValue, "kt", \
      "C_GetAttributeValue S K 102/0; C_GetAttributeValue S K 102/2 -> 0102") \
    X(SESSION, getDateAttributeValue, "kt", "C_GetAttributeValue S K 110/8 -> Date(1709164800000)") \
    X(SESSION, getBigIntegerAttributeValue, "kt", \
      "C_GetAttributeValue S K 120/0; C_GetAttributeValue S K 120/2 -> BigInteger(0x1,ff01)") \
    X(SESSION, getAttributeValue, "kt", "C_GetAttributeValue S K 3/0; C_GetAttributeValue S K 3/4 -> 'key '") \
    X(SESSION, getAttributeValues, "kTN", \
      "C_GetAttributeValue S K 0/$U 161/$U 1/1 3/0 102/0 120/0 110/8; C_GetAttributeValue S K 3/4; " \
      "C_GetAttributeValue S K 102/2; C_GetAttributeValue S K 120/2 -> {Integer(0x80000005) Integer(0x10) " \
      "Boolean(0x1) 'key ' 0102 BigInteger(0x1,ff01) Date(1709164800000)} pins=1") \
    X(OBJECT, getBoolAttributeValue, "t", "C_GetAttributeValue S K 1/1 -> 1") \
    X(OBJECT, getIntAttributeValue, "t", "C_GetAttributeValue S K 0/$U -> -2147483643") \
    X(OBJECT, getStringAttributeValue, "t", "C_GetAttributeValue S K 3/0; C_GetAttributeValue S K 3/4 -> 'key '") \
    X(OBJECT, getByteArrayAttributeValue, "t", "C_GetAttributeValue S K 102/0; C_GetAttributeValue S K 102/2 -> 0102") \
    X(OBJECT, getDateAttributeValue, "t", "C_GetAttributeValue S K 110/8 -> Date(1709164800000)") \
    X(OBJECT, getBigIntegerAttributeValue, "t", \
      "C_GetAttributeValue S K 120/0; C_GetAttributeValue S K 120/2 -> BigInteger(0x1,ff01)") \
    X(OBJECT, getAttributeValue, "t", "C_GetAttributeValue S K 3/0; C_GetAttributeValue S K 3/4 -> 'key '") \
    X(OBJECT, copy, "TV", "C_CopyObject S K $T -> NativePKCS11Object(@,0x11)") \
    X(OBJECT, destroy, "", "C_DestroyObject S K -> ") \
    X(OBJECT, size, "", "C_GetObjectSize S K -> 17") \
    X(OBJECT, setAttributeValue, "tv", "C_SetAttributeValue S K 3='6b6579' -> ") \
    X(OBJECT, setAttributeValues, "TV", "C_SetAttributeValue S K $T -> ") \
    X(OBJECT, setBoolAttributeValue, "tz", "C_SetAttributeValue S K 1='01' -> ") \
    X(OBJECT, setIntAttributeValue, "ti", "C_SetAttributeValue S K 0='$5' -> ") \
    X(EXTENSIONS, describeParameter, "mp", " -> null") \
    X(EXTENSIONS, getInterfaces, "L", \
      "C_GetInterfaceList room=0; C_GetInterfaceList room=1 -> {PKCS11Interface('PKCS 11',0x302,0x1)}") \
    X(EXTENSIONS, login, "sio", "C_Login S 80000005 '3132' -> ") \
    X(EXTENSIONS, loginUser, "sioo", "C_LoginUser S 80000005 '3132' '3132' -> ") \
    X(EXTENSIONS, sessionCancel, "si", "C_SessionCancel S 80000005 -> ") \
    X(EXTENSIONS, encapsulateKey, "smpkTV", \
      "C_EncapsulateKey S {1082 '0102'} K $T room=8000 -> {6162 NativePKCS11Object(@,0x11)}") \
    X(EXTENSIONS, decapsulateKey, "smpkbfnTV", \
      "C_DecapsulateKey S {1082 '0102'} K $T '0203' -> NativePKCS11Object(@,0x11)") \
    X(EXTENSIONS, encrypt, "sdfnDfn", "C_Encrypt S '0203' room=2 -> 2 out=00616200") \
    X(EXTENSIONS, encryptUpdate, "sdfnDfn", "C_EncryptUpdate S '0203' room=2 -> 2 out=00616200") \
    X(EXTENSIONS, decrypt, "sdfnDfn", "C_Decrypt S '0203' room=2 -> 2 out=00616200") \
    X(EXTENSIONS, decryptUpdate, "sdfnDfn", "C_DecryptUpdate S '0203' room=2 -> 2 out=00616200") \
    X(EXTENSIONS, digest, "sdfnDfn", "C_Digest S '0203' room=2 -> 2 out=00616200") \
    X(EXTENSIONS, sign, "sdfnDfn", "C_Sign S '0203' room=2 -> 2 out=00616200") \
    X(EXTENSIONS, encryptFinal, "sDfn", "C_EncryptFinal S room=2 -> 2 out=00616200") \
    X(EXTENSIONS, decryptFinal, "sDfn", "C_DecryptFinal S room=2 -> 2 out=00616200") \
    X(EXTENSIONS, digestUpdate, "sdfn", "C_DigestUpdate S '0203' -> ") \
    X(EXTENSIONS, signUpdate, "sdfn", "C_SignUpdate S '0203' -> ") \
    X(EXTENSIONS, verifyUpdate, "sdfn", "C_VerifyUpdate S '0203' -> ") \
    X(EXTENSIONS, verify, "sdfndfn", "C_Verify S '0203' '0203' -> 1")
// clang-format on
