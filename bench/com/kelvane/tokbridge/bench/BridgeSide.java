package com.kelvane.tokbridge.bench;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Object;
import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.PKCS11TokenInfo;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import com.kelvane.tokbridge.bench.Stopwatch.Operation;
import java.util.Arrays;
import java.util.function.Predicate;

/** The operations as this library does them, and the token on which both sides work. */
final class BridgeSide {
    final NativePKCS11 library = new NativePKCS11();
    final NativePKCS11Session session;

    /** Makes a token in a free slot, and logs the user in, for all sessions of the process. */
    BridgeSide(String module) {
        String pin = "throw-away";
        String label = "bench " + Long.toHexString(System.nanoTime());
        library.load(module);
        library.libInitialize();
        PKCS11Slot empty = slot(token -> !token.isInitialized());
        empty.initToken(pin, label);
        try (NativePKCS11Session officer = empty.openSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, null)) {
            officer.login(true, pin);
            officer.initPIN(pin);
            officer.logout();
        }
        // Only after another start of the module the token stands in the slot where it stays.
        library.libFinalize();
        library.load(module);
        library.libInitialize();
        session = slot(token -> token.getLabel().equals(label)).openSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, null);
        session.login(false, pin);
    }

    private PKCS11Slot slot(Predicate<PKCS11TokenInfo> wanted) {
        return Arrays.stream(library.getSlotList(true)).filter(candidate -> wanted.test(candidate.getTokenInfo()))
            .findFirst().orElseThrow();
    }

    /** AES in CBC mode, started and run in one native call or in two. */
    Operation encrypt(byte[] key, byte[] message, boolean oneCall) {
        NativePKCS11Object object = session.createObject(
            new int[] {CKA_CLASS, CKA_KEY_TYPE, CKA_TOKEN, CKA_ENCRYPT, CKA_VALUE},
            new Object[] {CKO_SECRET_KEY, CKK_AES, false, true, key});
        byte[] iv = new byte[16];
        byte[] out = new byte[message.length];
        return oneCall ? () -> {
            session.encryptDoFinalGCM(CKM_AES_CBC, iv, object, message, 0, message.length, out, 0);
            return out;
        } : () -> {
            session.encryptInit(CKM_AES_CBC, iv, object);
            session.encrypt(message, 0, message.length, out, 0);
            return out;
        };
    }

    Operation digest(byte[] message) {
        byte[] out = new byte[32];
        return () -> {
            session.digestInit(CKM_SHA256, null);
            session.digest(message, 0, message.length, out, 0);
            return out;
        };
    }

    Operation mac(byte[] message) {
        return sign(CKM_SHA256_HMAC, session.generateKey(CKM_GENERIC_SECRET_KEY_GEN, null,
            new int[] {CKA_VALUE_LEN, CKA_TOKEN, CKA_SIGN}, new Object[] {32, false, true}), message, 32);
    }

    Operation sign(int mechanism, int keys, int[] types, Object[] values, byte[] message, int length) {
        PKCS11Object[] pair = session.generateKeyPair(keys, null, types, values, new int[] {CKA_TOKEN, CKA_SIGN},
            new Object[] {false, true});
        return sign(mechanism, (NativePKCS11Object) pair[1], message, length);
    }

    private Operation sign(int mechanism, NativePKCS11Object key, byte[] message, int length) {
        byte[] out = new byte[length];
        return () -> {
            session.signInit(mechanism, null, key);
            session.sign(message, 0, message.length, out, 0);
            return out;
        };
    }

    Operation random() {
        byte[] out = new byte[32];
        return () -> {
            session.generateRandom(out, 0, out.length);
            return out;
        };
    }
}
