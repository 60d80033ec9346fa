// Which parameter each mechanism takes.
#pragma once

#include "bridge/cryptoki.h"

/// What a mechanism's parameter is made of. 20 and 27 are not in use.
enum class ParameterKind
{
    none = 0,       ///< no parameter
    macGeneral = 1, ///< an Integer, CK_MAC_GENERAL_PARAMS
    extract = 2,    ///< an Integer, CK_EXTRACT_PARAMS
    iv = 3,         ///< a byte[]
    derivationString = 4,
    publicValue = 5, ///< a BigInteger
    keyHandle = 6,   ///< a NativePKCS11Object
    rc2 = 7,
    rc2Cbc = 8,
    rc2MacGeneral = 9,
    rc5 = 10,
    rc5Cbc = 11,
    rc5MacGeneral = 12,
    pbe = 13,
    tokenIv = 14, ///< a byte[] that the token may fill
    keaDerive = 15,
    keyWrapSetOaep = 16,
    version = 17,
    skipjackPrivateWrap = 18,
    skipjackRelayx = 19,
    ssl3MasterKeyDerive = 21,
    tlsMasterKeyDerive = 22,
    ssl3MasterKeyDeriveDh = 23,
    tlsMasterKeyDeriveDh = 24,
    ssl3KeyAndMacDerive = 25,
    tlsKeyAndMacDerive = 26,
    tlsPrf = 28,
    ecdh1Derive = 29,
    ecmqvDerive = 30,
    pbkd2 = 31,
    gcm = 32,
    oaep = 33,
    pss = 34,
    // For those that follow null is no parameter, and a PKCS11RawParameter is taken too.
    aesCtr = 35,
    ccm = 36,
    stringData = 37, ///< what derivationString would be, for the mechanisms that take it
    aesCbcEncryptData = 38,
    desCbcEncryptData = 39,
    rsaAesKeyWrap = 40,
    ecdhAesKeyWrap = 41,
    eddsa = 42,
    poly1305 = 43,
    hkdf = 44,
    raw = 45,    ///< a PKCS11RawParameter alone, whose bytes are the parameter
    vector = 46, ///< what iv would be, for the mechanisms that go without one too
    chaCha20 = 47,
    salsa20 = 48,
    xeddsa = 49,
    signContext = 50,
    hashSignContext = 51,
    tls12MasterKeyDerive = 52,
    tls12ExtendedMasterKeyDerive = 53,
    tls12KeyMat = 54,
    tlsMac = 55,
    tlsKdf = 56,
    sp800Kdf = 57,
    sp800FeedbackKdf = 58,
    x942Dh1 = 59,
    x942Dh2 = 60,
    x942Mqv = 61,
};

/// The kind of a mechanism's parameter; raw for a mechanism without a row.
ParameterKind mechanismParameterKind(CK_MECHANISM_TYPE mechanism);
