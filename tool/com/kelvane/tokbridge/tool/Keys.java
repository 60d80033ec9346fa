package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.util.Arrays;
import javax.crypto.SecretKey;
import javax.crypto.spec.SecretKeySpec;

/** Makes the session keys of the tour. */
final class Keys {
    /** A new AES key that the token may use for everything and gives out wrapped only. */
    static final Template AES = Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_KEY_TYPE, CKK_AES, CKA_TOKEN, false,
        CKA_SENSITIVE, true, CKA_EXTRACTABLE, true, CKA_ENCRYPT, true, CKA_DECRYPT, true, CKA_WRAP, true, CKA_UNWRAP,
        true);

    private Keys() {
    }

    /** An AES key that the JDK knows as well, to compare the results of both. */
    static final class Shared {
        final NativePKCS11Object onToken;
        final SecretKey inJdk;

        /** Makes an AES-256 key and puts it on the token. */
        Shared(NativePKCS11Session session) {
            byte[] value = random(session, 32);
            Template template = AES.and(CKA_VALUE, value);
            onToken = session.createObject(template.types, template.values);
            inJdk = new SecretKeySpec(value, "AES");
            Arrays.fill(value, (byte) 0);
        }
    }

    /** Makes a key pair on the token: the public key, then the private one. */
    static NativePKCS11Object[] pair(NativePKCS11Session session, int mechanism, Template publicPart,
        Template privatePart) {
        PKCS11Object[] pair = session.generateKeyPair(mechanism, null, publicPart.types, publicPart.values,
            privatePart.types, privatePart.values);
        return new NativePKCS11Object[] {(NativePKCS11Object) pair[0], (NativePKCS11Object) pair[1]};
    }

    static byte[] random(NativePKCS11Session session, int length) {
        byte[] bytes = new byte[length];
        session.generateRandom(bytes, 0, length);
        return bytes;
    }

    /** Signs data in one step. */
    static byte[] sign(NativePKCS11Session session, int mechanism, Object parameter, NativePKCS11Object key,
        byte[] data) {
        byte[] signature = new byte[512];
        session.signInit(mechanism, parameter, key);
        int length = session.sign(data, 0, data.length, signature, 0);
        return Arrays.copyOf(signature, length);
    }

    /** Verifies a signature in one step. */
    static boolean verify(NativePKCS11Session session, int mechanism, Object parameter, NativePKCS11Object key,
        byte[] data, byte[] signature) {
        session.verifyInit(mechanism, parameter, key);
        return session.verify(data, 0, data.length, signature, 0, signature.length);
    }
}
