package com.kelvane.tokbridge.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.math.*;
import java.nio.*;
import java.util.*;
import java.util.function.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.function.*;

/**
 * A plain call of every native method but those that load, initialise and finalise, for what holds of them all. Each is
 * named after the first Cryptoki function that it reaches, with a word behind it where several reach the same.
 */
final class Calls {
    interface Call {
        Object make(NativePKCS11 library, NativePKCS11Slot slot, NativePKCS11Session session);
    }

    /** Attributes of each kind that the token has by itself. */
    static final int[] KINDS = {CKA_TOKEN, CKA_CLASS, CKA_LABEL, CKA_VALUE, CKA_START_DATE, CKA_MODULUS,
        CKA_ALLOWED_MECHANISMS};
    private static final Object[] VALUES = {true, 3, "label", new byte[] {1, 2}, new Date(0), BigInteger.TEN,
        new int[] {1, 2}};
    private static final int[] BOOL = {CKA_TOKEN};
    private static final Object[] TRUE = {true};

    private static final Map<String, Call> ALL = new LinkedHashMap<>();
    /** The operations from one buffer to another. */
    static final Map<String, Function<NativePKCS11Session, InOut>> IN_OUT = new LinkedHashMap<>();

    static {
        library("C_GetInfo", NativePKCS11::getInfo);
        library("C_GetSlotList", library -> library.getSlotList(true));
        library("C_WaitForSlotEvent", library -> library.waitForSlotEvent(true));

        slot("C_GetSlotInfo", NativePKCS11Slot::getInfo);
        slot("C_GetTokenInfo", NativePKCS11Slot::getTokenInfo);
        slot("C_GetMechanismList", NativePKCS11Slot::getMechanismList);
        slot("C_GetMechanismInfo", slot -> slot.getMechanismInfo(CKM_RSA_PKCS));
        slot("C_InitToken", slot -> none(() -> slot.initToken("1234", "label")));
        slot("C_OpenSession", slot -> slot.openSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, null));
        slot("C_CloseAllSessions", slot -> none(slot::closeAllSessions));

        run("C_CloseSession", NativePKCS11Session::close);
        session("C_GetSessionInfo", NativePKCS11Session::getInfo);
        run("C_Login", session -> session.login(false, "1234"));
        run("C_Logout", NativePKCS11Session::logout);
        run("C_InitPIN", session -> session.initPIN(new byte[] {1, 2}));
        run("C_SetPIN", session -> session.setPIN("1234", "5678"));
        session("C_GetOperationState", NativePKCS11Session::getOperationState);
        run("C_SetOperationState", session -> session.setOperationState(new byte[2], key(session), key(session)));
        session("C_GetFunctionStatus", NativePKCS11Session::getFunctionStatus);
        run("C_CancelFunction", NativePKCS11Session::cancelFunction);
        run("C_GenerateRandom", session -> session.generateRandom(new byte[4], 0, 4));
        run("C_SeedRandom", session -> session.seedRandom(new byte[4], 0, 4));

        session("C_CreateObject", session -> session.createObject(KINDS, VALUES));
        session("C_CopyObject session", session -> session.copy(key(session), BOOL, TRUE));
        object("C_CopyObject object", key -> key.copy(BOOL, TRUE));
        run("C_DestroyObject session", session -> session.destroyObject(key(session)));
        object("C_DestroyObject object", key -> none(key::destroy));
        object("C_GetObjectSize", NativePKCS11Object::size);
        object("C_SetAttributeValue one", key -> none(() -> key.setAttributeValue(CKA_LABEL, "label")));
        object("C_SetAttributeValue more", key -> none(() -> key.setAttributeValues(BOOL, TRUE)));
        object("C_SetAttributeValue bool", key -> none(() -> key.setBoolAttributeValue(CKA_TOKEN, true)));
        object("C_SetAttributeValue int", key -> none(() -> key.setIntAttributeValue(CKA_CLASS, 3)));
        run("C_FindObjectsInit", session -> session.findObjectsInit(BOOL, TRUE));
        session("C_FindObjects", NativePKCS11Session::findObject);
        run("C_FindObjectsFinal", NativePKCS11Session::findObjectsFinal);

        object("C_GetAttributeValue bool", key -> key.getBoolAttributeValue(CKA_TOKEN));
        object("C_GetAttributeValue int", key -> key.getIntAttributeValue(CKA_CLASS));
        object("C_GetAttributeValue string", key -> key.getStringAttributeValue(CKA_LABEL));
        object("C_GetAttributeValue bytes", key -> key.getByteArrayAttributeValue(CKA_VALUE));
        object("C_GetAttributeValue date", key -> key.getDateAttributeValue(CKA_START_DATE));
        object("C_GetAttributeValue big", key -> key.getBigIntegerAttributeValue(CKA_MODULUS));
        session("C_GetAttributeValue s-bool", session -> session.getBoolAttributeValue(key(session), CKA_TOKEN));
        session("C_GetAttributeValue s-int", session -> session.getIntAttributeValue(key(session), CKA_CLASS));
        session("C_GetAttributeValue s-string", session -> session.getStringAttributeValue(key(session), CKA_LABEL));
        session("C_GetAttributeValue s-bytes", session -> session.getByteArrayAttributeValue(key(session), CKA_VALUE));
        session("C_GetAttributeValue s-date", session -> session.getDateAttributeValue(key(session), CKA_START_DATE));
        session("C_GetAttributeValue s-big", session -> session.getBigIntegerAttributeValue(key(session), CKA_MODULUS));
        for (int type : KINDS) {
            object("C_GetAttributeValue any-" + type, key -> key.getAttributeValue(type));
        }
        session("C_GetAttributeValue s-any", session -> session.getAttributeValue(key(session), CKA_TOKEN));
        session("C_GetAttributeValue all", session -> session.getAttributeValues(key(session), KINDS, KINDS.length));

        init("C_EncryptInit none", CKM_AES_ECB, null);
        init("C_EncryptInit mac", CKM_DES_MAC_GENERAL, 4);
        init("C_EncryptInit iv", CKM_AES_CBC, new byte[16]);
        init("C_EncryptInit token-iv", CKM_SKIPJACK_CBC64, new byte[24]);
        init("C_EncryptInit rc2", CKM_RC2_ECB, new PKCS11MechPar_RC2(128));
        init("C_EncryptInit rc2-cbc", CKM_RC2_CBC, new PKCS11MechPar_RC2_CBC(128, new byte[8]));
        init("C_EncryptInit rc2-mac", CKM_RC2_MAC_GENERAL, new PKCS11MechPar_RC2_GENMAC(128, 4));
        init("C_EncryptInit rc5", CKM_RC5_ECB, new PKCS11MechPar_RC5(4, 12));
        init("C_EncryptInit rc5-cbc", CKM_RC5_CBC, new PKCS11MechPar_RC5_CBC(4, 12, new byte[8]));
        init("C_EncryptInit rc5-mac", CKM_RC5_MAC_GENERAL, new PKCS11MechPar_RC5_GENMAC(4, 12, 4));
        init("C_EncryptInit gcm", CKM_AES_GCM, new CK_GCM_PARAMS(new byte[12], new byte[3], 128));
        init("C_EncryptInit oaep", CKM_RSA_PKCS_OAEP,
            new CK_RSA_PKCS_OAEP_PARAMS(CKM_SHA_1, CKG_MGF1_SHA1, new byte[3]));
        init("C_EncryptInit pss", CKM_RSA_PKCS_PSS, new CK_RSA_PKCS_PSS_PARAMS(CKM_SHA_1, CKG_MGF1_SHA1, 20));
        init("C_EncryptInit ctr", CKM_AES_CTR, new CK_AES_CTR_PARAMS(32, new byte[16]));
        init("C_EncryptInit ccm", CKM_AES_CCM, new CK_CCM_PARAMS(99, new byte[12], new byte[3], 8));
        init("C_EncryptInit rsa-aes", CKM_RSA_AES_KEY_WRAP, new CK_RSA_AES_KEY_WRAP_PARAMS(256,
            new CK_RSA_PKCS_OAEP_PARAMS(CKM_SHA_1, CKG_MGF1_SHA1, new byte[3])));
        init("C_EncryptInit ecdh-aes", CKM_ECDH_AES_KEY_WRAP,
            new CK_ECDH_AES_KEY_WRAP_PARAMS(256, CKD_NULL, new byte[3]));
        init("C_EncryptInit eddsa", CKM_EDDSA, new CK_EDDSA_PARAMS(true, new byte[3]));
        init("C_EncryptInit poly1305", CKM_CHACHA20_POLY1305,
            new CK_SALSA20_CHACHA20_POLY1305_PARAMS(new byte[12], new byte[3]));
        init("C_EncryptInit raw", CKM_VENDOR_DEFINED, new PKCS11RawParameter(new byte[3]));
        run("C_DecryptInit", session -> session.decryptInit(CKM_AES_CBC, new byte[16], key(session)));
        run("C_DigestInit", session -> session.digestInit(CKM_SHA_1, null));
        run("C_SignInit", session -> session.signInit(CKM_RSA_PKCS, null, key(session)));
        run("C_SignRecoverInit", session -> session.signRecoverInit(CKM_RSA_PKCS, null, key(session)));
        run("C_VerifyInit", session -> session.verifyInit(CKM_RSA_PKCS, null, key(session)));
        run("C_VerifyRecoverInit", session -> session.verifyRecoverInit(CKM_RSA_PKCS, null, key(session)));
        session("C_EncryptInit whole", session -> session.encryptDoFinalGCM(CKM_AES_CBC, new byte[16], key(session),
            new byte[4], 0, 4, new byte[8], 0));
        session("C_DecryptInit whole", session -> session.decryptDoFinalGCM(CKM_AES_CBC, new byte[16], key(session),
            new byte[4], 0, 4, new byte[8], 0));

        inOut("C_Encrypt", session -> session::encrypt);
        inOut("C_EncryptUpdate", session -> session::encryptUpdate);
        inOut("C_Decrypt", session -> session::decrypt);
        inOut("C_DecryptUpdate", session -> session::decryptUpdate);
        inOut("C_Digest", session -> session::digest);
        inOut("C_Sign", session -> session::sign);
        inOut("C_SignRecover", session -> session::signRecover);
        inOut("C_VerifyRecover", session -> session::verifyRecover);
        inOut("C_DigestEncryptUpdate", session -> session::digestEncryptUpdate);
        inOut("C_DecryptDigestUpdate", session -> session::decryptDigestUpdate);
        inOut("C_SignEncryptUpdate", session -> session::signEncryptUpdate);
        inOut("C_DecryptVerifyUpdate", session -> session::decryptVerifyUpdate);
        session("C_EncryptFinal", session -> session.encryptFinal(new byte[8], 2));
        session("C_DecryptFinal", session -> session.decryptFinal(new byte[8], 2));
        session("C_DigestFinal", session -> session.digestFinal(new byte[8], 2));
        session("C_SignFinal", session -> session.signFinal(new byte[8], 2));
        run("C_DigestUpdate", session -> session.digestUpdate(new byte[4], 1, 3));
        run("C_SignUpdate", session -> session.signUpdate(new byte[4], 1, 3));
        run("C_VerifyUpdate", session -> session.verifyUpdate(new byte[4], 1, 3));
        session("C_Verify", session -> session.verify(new byte[4], 1, 3, new byte[5], 2, 3));
        session("C_VerifyFinal", session -> session.verifyFinal(new byte[5], 2, 3));
        run("C_DigestKey", session -> session.digestKey(key(session)));

        session("C_GenerateKey", session -> session.generateKey(CKM_PBE_MD2_DES_CBC,
            new PKCS11MechPar_PBE(new byte[5], new byte[4], 9), KINDS, VALUES));
        session("C_GenerateKey version", session -> session.generateKey(CKM_SSL3_PRE_MASTER_KEY_GEN,
            new CK_VERSION(3, 1), BOOL, TRUE));
        session("C_GenerateKeyPair", session -> session.generateKeyPair(CKM_RSA_PKCS_KEY_PAIR_GEN, null,
            BOOL, TRUE, BOOL, TRUE));
        session("C_WrapKey", session -> session.wrapKey(CKM_AES_CBC, new byte[16], key(session), key(session),
            new byte[8], 2));
        session("C_UnwrapKey", session -> session.unwrapKey(CKM_AES_CBC, new byte[16], key(session), new byte[4], 1, 3,
            BOOL, TRUE));
        derive("C_DeriveKey dh", CKM_DH_PKCS_DERIVE, BigInteger.valueOf(0x80));
        session("C_DeriveKey key", session -> session.deriveKey(CKM_CONCATENATE_BASE_AND_KEY,
            key(session), key(session), BOOL, TRUE));
        derive("C_DeriveKey ecb", CKM_AES_ECB_ENCRYPT_DATA, new CK_KEY_DERIVATION_STRING_DATA(new byte[3]));
        derive("C_DeriveKey cbc", CKM_AES_CBC_ENCRYPT_DATA, new CK_AES_CBC_ENCRYPT_DATA_PARAMS(new byte[16],
            new byte[3]));
        derive("C_DeriveKey des", CKM_DES_CBC_ENCRYPT_DATA, new CK_DES_CBC_ENCRYPT_DATA_PARAMS(new byte[8],
            new byte[3]));
        session("C_DeriveKey hkdf", session -> session.deriveKey(CKM_HKDF_DERIVE, new CK_HKDF_PARAMS(true, true,
            CKM_SHA256, CKF_HKDF_SALT_KEY, new byte[3], key(session), new byte[3]), key(session), BOOL, TRUE));
        derive("C_DeriveKey ecdh", CKM_ECDH1_DERIVE, new CK_ECDH1_DERIVE_PARAMS(CKD_NULL, new byte[3], new byte[5]));
        derive("C_DeriveKey master", CKM_SSL3_MASTER_KEY_DERIVE,
            new CK_SSL3_MASTER_KEY_DERIVE_PARAMS(random(), new CK_VERSION(3, 0)));
        derive("C_DeriveKey material", CKM_SSL3_KEY_AND_MAC_DERIVE,
            new CK_SSL3_KEY_MAT_PARAMS(128, 128, 64, false, random()));
        derive("C_DeriveKey prf", CKM_TLS_PRF, new CK_TLS_PRF_PARAMS(new byte[3], new byte[2], 12));

        library("C_GetInterfaceList", library -> library.getInterfaces());
        run("C_Login type", session -> session.login(CKU_CONTEXT_SPECIFIC, "1234"));
        run("C_LoginUser", session -> session.loginUser(CKU_USER, "1234", "me"));
        run("C_SessionCancel", session -> session.sessionCancel(CKF_SIGN));
        session("C_EncapsulateKey", session -> session.encapsulateKey(CKM_ML_KEM, null, key(session),
            Template.of(CKA_TOKEN, true)));
        session("C_DecapsulateKey", session -> session.decapsulateKey(CKM_ML_KEM, null, key(session), new byte[3],
            Template.of(CKA_TOKEN, true)));
        direct("C_Encrypt", session -> session::encrypt);
        direct("C_EncryptUpdate", session -> session::encryptUpdate);
        direct("C_Decrypt", session -> session::decrypt);
        direct("C_DecryptUpdate", session -> session::decryptUpdate);
        direct("C_Digest", session -> session::digest);
        direct("C_Sign", session -> session::sign);
        session("C_EncryptFinal direct", session -> session.encryptFinal(direct(8)));
        session("C_DecryptFinal direct", session -> session.decryptFinal(direct(8)));
        run("C_DigestUpdate direct", session -> session.digestUpdate(direct(3)));
        run("C_SignUpdate direct", session -> session.signUpdate(direct(3)));
        run("C_VerifyUpdate direct", session -> session.verifyUpdate(direct(3)));
        session("C_Verify direct", session -> session.verify(direct(3),
            direct(2)));
    }

    interface DirectInOut {
        int run(ByteBuffer in, ByteBuffer out);
    }

    interface InOut {
        int run(byte[] in, int inOffset, int inLength, byte[] out, int outOffset);
    }

    private static Object none(Runnable call) {
        call.run();
        return null;
    }

    private static NativePKCS11Object key(NativePKCS11Session session) {
        return new NativePKCS11Object(session, 9);
    }

    private static CK_SSL3_RANDOM_DATA random() {
        return new CK_SSL3_RANDOM_DATA(new byte[3], new byte[5]);
    }

    private static void library(String name, Function<NativePKCS11, Object> call) {
        ALL.put(name, (library, slot, session) -> call.apply(library));
    }

    private static void slot(String name, Function<NativePKCS11Slot, Object> call) {
        ALL.put(name, (library, slot, session) -> call.apply(slot));
    }

    private static void session(String name, Function<NativePKCS11Session, Object> call) {
        ALL.put(name, (library, slot, session) -> call.apply(session));
    }

    private static void run(String name, Consumer<NativePKCS11Session> call) {
        session(name, session -> none(() -> call.accept(session)));
    }

    private static void object(String name, Function<NativePKCS11Object, Object> call) {
        session(name, session -> call.apply(key(session)));
    }

    private static void init(String name, int mechanism, Object parameter) {
        run(name, session -> session.encryptInit(mechanism, parameter, key(session)));
    }

    private static void inOut(String name, Function<NativePKCS11Session, InOut> call) {
        IN_OUT.put(name, call);
        session(name, session -> call.apply(session).run(new byte[4], 1, 3, new byte[8], 2));
    }

    private static void direct(String name, Function<NativePKCS11Session, DirectInOut> call) {
        session(name + " direct", session -> call.apply(session).run(direct(3), direct(4)));
    }

    private static ByteBuffer direct(int size) {
        return ByteBuffer.allocateDirect(size);
    }

    private static void derive(String name, int mechanism, Object parameter) {
        session(name, session -> session.deriveKey(mechanism, parameter, key(session), BOOL, TRUE));
    }

    static Call to(String name) {
        return ALL.get(name);
    }

    /** The Cryptoki function of a call. */
    static String function(String name) {
        return name.split(" ")[0];
    }

    static Stream<String> names() {
        return ALL.keySet().stream();
    }

    /** One dynamic test for each call. */
    static Stream<DynamicTest> each(ThrowingConsumer<String> test) {
        return names().map(name -> DynamicTest.dynamicTest(name, () -> test.accept(name)));
    }
}
