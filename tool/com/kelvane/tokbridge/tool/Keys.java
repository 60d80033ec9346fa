package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.Template;
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
            onToken = session.createObject(AES.and(CKA_VALUE, value));
            inJdk = new SecretKeySpec(value, "AES");
            Arrays.fill(value, (byte) 0);
        }
    }

    static byte[] random(NativePKCS11Session session, int length) {
        byte[] bytes = new byte[length];
        session.generateRandom(bytes, 0, length);
        return bytes;
    }
}
