package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.CK_AES_CBC_ENCRYPT_DATA_PARAMS;
import com.kelvane.pkcs11.CK_AES_CTR_PARAMS;
import com.kelvane.pkcs11.CK_DES_CBC_ENCRYPT_DATA_PARAMS;
import com.kelvane.pkcs11.CK_GCM_PARAMS;
import com.kelvane.pkcs11.CK_KEY_DERIVATION_STRING_DATA;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.nio.charset.StandardCharsets;
import java.security.MessageDigest;
import java.util.Arrays;
import javax.crypto.Cipher;
import javax.crypto.KeyGenerator;
import javax.crypto.SecretKey;
import javax.crypto.spec.GCMParameterSpec;
import javax.crypto.spec.IvParameterSpec;

/** AES in several modes, SHA-256, keys wrapped and derived, each compared with the JDK's own implementation. */
final class CipherSteps {
    private static final byte[] MESSAGE =
        "Forty-two bytes of a message to be hidden.".getBytes(StandardCharsets.US_ASCII);
    private static final int TAG_BITS = 128;

    /** Every call copies the whole of its arrays, so a stream goes through small ones. */
    private static final int CHUNK = 16 * 1024;
    private static final int CHUNKS = 256;

    /** What the last chunk has less than the others, so that the padding has something to do. */
    private static final int MISSING = 5;

    private final Tour tour;
    private final Token token;

    CipherSteps(Tour tour, Token token) {
        this.tour = tour;
        this.token = token;
    }

    void run() {
        token.step("AES-256 CBC", CKM_AES_CBC_PAD, this::cbc);
        token.step("AES-256 CTR", CKM_AES_CTR, this::ctr);
        token.step("AES-256 GCM", CKM_AES_GCM, this::gcm);
        token.step("AES-256 CBC, a stream of " + CHUNK * CHUNKS / (1024 * 1024) + " MiB", CKM_AES_CBC_PAD,
            this::stream);
        digests();
        token.step("AES key wrap", CKM_AES_KEY_WRAP, this::wrap);
        token.step("Keys derived by encrypting data with AES", CKM_AES_CBC_ENCRYPT_DATA, this::deriveWithAES);
        token.step("Keys derived by encrypting data with triple DES", CKM_DES3_CBC_ENCRYPT_DATA,
            this::deriveWithTripleDES);
    }

    /** The steps without a key. */
    void digests() {
        token.step("SHA-256 in parts", CKM_SHA256, this::digest);
    }

    private void cbc(NativePKCS11Session session) throws Exception {
        Keys.Shared key = new Keys.Shared(session);
        byte[] iv = Keys.random(session, 16);
        Cipher jdk = Cipher.getInstance("AES/CBC/PKCS5Padding");
        jdk.init(Cipher.ENCRYPT_MODE, key.inJdk, new IvParameterSpec(iv));
        byte[] expected = jdk.doFinal(MESSAGE);

        session.encryptInit(CKM_AES_CBC_PAD, iv, key.onToken);
        byte[] small = new byte[8];
        int needed = session.encrypt(MESSAGE, 0, MESSAGE.length, small, 0);
        tour.check("a buffer of 8 bytes is too small, " + needed + " are needed", needed == expected.length);
        byte[] hidden = new byte[needed];
        int length = session.encrypt(MESSAGE, 0, MESSAGE.length, hidden, 0);
        tour.check("with these the operation goes on, and agrees with the JDK",
            length == needed && Arrays.equals(hidden, expected));

        session.decryptInit(CKM_AES_CBC_PAD, iv, key.onToken);
        byte[] shown = new byte[hidden.length];
        length = session.decrypt(hidden, 0, hidden.length, shown, 0);
        tour.check("it is decrypted again", Arrays.equals(Arrays.copyOf(shown, length), MESSAGE));
    }

    private void ctr(NativePKCS11Session session) throws Exception {
        Keys.Shared key = new Keys.Shared(session);
        byte[] counter = Keys.random(session, 16);
        Cipher jdk = Cipher.getInstance("AES/CTR/NoPadding");
        jdk.init(Cipher.ENCRYPT_MODE, key.inJdk, new IvParameterSpec(counter));

        session.encryptInit(CKM_AES_CTR, new CK_AES_CTR_PARAMS(128, counter), key.onToken);
        byte[] hidden = new byte[MESSAGE.length];
        int length = session.encrypt(MESSAGE, 0, MESSAGE.length, hidden, 0);
        tour.check("as many bytes come out as went in, and agree with the JDK",
            length == hidden.length && Arrays.equals(hidden, jdk.doFinal(MESSAGE)));
        tour.checkRefused("a counter block of 15 bytes is refused", () -> session.encryptInit(CKM_AES_CTR,
            new CK_AES_CTR_PARAMS(128, new byte[15]), key.onToken), CKR_MECHANISM_PARAM_INVALID);
    }

    private void gcm(NativePKCS11Session session) throws Exception {
        Keys.Shared key = new Keys.Shared(session);
        byte[] iv = Keys.random(session, 12);
        byte[] header = "header".getBytes(StandardCharsets.US_ASCII);
        CK_GCM_PARAMS parameter = new CK_GCM_PARAMS(iv, header, TAG_BITS);
        Cipher jdk = Cipher.getInstance("AES/GCM/NoPadding");
        jdk.init(Cipher.ENCRYPT_MODE, key.inJdk, new GCMParameterSpec(TAG_BITS, iv));
        jdk.updateAAD(header);
        byte[] expected = jdk.doFinal(MESSAGE);

        byte[] small = new byte[MESSAGE.length];
        int needed = session.encryptDoFinalGCM(CKM_AES_GCM, parameter, key.onToken, MESSAGE, 0, MESSAGE.length, small,
            0);
        tour.check("a buffer without room for the tag is too small, " + needed + " bytes are needed",
            needed == expected.length);
        byte[] hidden = new byte[needed];
        int length = session.encrypt(MESSAGE, 0, MESSAGE.length, hidden, 0);
        tour.check("encrypt() ends the operation, and agrees with the JDK",
            length == needed && Arrays.equals(hidden, expected));

        byte[] shown = new byte[hidden.length];
        length = session.decryptDoFinalGCM(CKM_AES_GCM, parameter, key.onToken, hidden, 0, hidden.length, shown, 0);
        tour.check("it is decrypted again", Arrays.equals(Arrays.copyOf(shown, length), MESSAGE));
        hidden[hidden.length - 1] ^= 1;
        Arrays.fill(shown, (byte) 0);
        tour.checkRefused("a changed tag is refused", () -> session.decryptDoFinalGCM(CKM_AES_GCM, parameter,
            key.onToken, hidden, 0, hidden.length, shown, 0), CKR_GENERAL_ERROR, CKR_ENCRYPTED_DATA_INVALID);
        tour.check("nothing of the text is given out then", Arrays.equals(shown, new byte[hidden.length]));
    }

    /** Encrypts in one session and decrypts in another, chunk by chunk, so that the whole is never in memory. */
    private void stream(NativePKCS11Session session) throws Exception {
        Keys.Shared key = new Keys.Shared(session);
        byte[] iv = Keys.random(session, 16);
        MessageDigest before = MessageDigest.getInstance("SHA-256");
        MessageDigest after = MessageDigest.getInstance("SHA-256");
        byte[] plain = new byte[CHUNK];
        byte[] hidden = new byte[CHUNK + 16];
        byte[] shown = new byte[CHUNK + 32];
        long hiddenLength = 0;
        long shownLength = 0;
        try (NativePKCS11Session back = token.openSession()) {
            session.encryptInit(CKM_AES_CBC_PAD, iv, key.onToken);
            back.decryptInit(CKM_AES_CBC_PAD, iv, key.onToken);
            for (int chunk = 0; chunk < CHUNKS; chunk++) {
                boolean last = chunk == CHUNKS - 1;
                int length = last ? CHUNK - MISSING : CHUNK;
                Arrays.fill(plain, (byte) chunk);
                before.update(plain, 0, length);
                int encrypted = session.encryptUpdate(plain, 0, length, hidden, 0);
                encrypted += last ? session.encryptFinal(hidden, encrypted) : 0;
                int decrypted = back.decryptUpdate(hidden, 0, encrypted, shown, 0);
                decrypted += last ? back.decryptFinal(shown, decrypted) : 0;
                after.update(shown, 0, decrypted);
                hiddenLength += encrypted;
                shownLength += decrypted;
            }
        }
        int whole = CHUNK * CHUNKS;
        tour.check(shownLength + " bytes came back from " + hiddenLength,
            shownLength == whole - MISSING && hiddenLength == whole);
        tour.check("what came back is what went in", MessageDigest.isEqual(before.digest(), after.digest()));
    }

    private void digest(NativePKCS11Session session) throws Exception {
        byte[] data = Keys.random(session, 100_000);
        byte[] result = new byte[40];
        session.digestInit(CKM_SHA256, null);
        for (int offset = 0, length = 1; offset < data.length; offset += length, length = 2 * length + 1) {
            length = Math.min(length, data.length - offset);
            session.digestUpdate(data, offset, length);
        }
        int length = session.digestFinal(result, 4);
        byte[] expected = MessageDigest.getInstance("SHA-256").digest(data);
        tour.check("parts of growing length give the digest that the JDK computes",
            length == 32 && Arrays.equals(result, 4, 36, expected, 0, 32));
        tour.check("the bytes around it are left alone", result[3] == 0 && result[36] == 0);
    }

    private void wrap(NativePKCS11Session session) throws Exception {
        Keys.Shared wrapping = new Keys.Shared(session);
        Template template = Keys.AES.and(CKA_VALUE_LEN, 32);
        NativePKCS11Object key = session.generateKey(CKM_AES_KEY_GEN, null, template.types, template.values);
        byte[] wrapped = new byte[64];
        tour.checkRefused("room for 39 bytes is too small", () -> session.wrapKey(CKM_AES_KEY_WRAP, null,
            wrapping.onToken, key, wrapped, wrapped.length - 39), CKR_BUFFER_TOO_SMALL);
        int length = session.wrapKey(CKM_AES_KEY_WRAP, null, wrapping.onToken, key, wrapped, 0);
        tour.check("a key of 32 bytes is wrapped in 40", length == 40);

        NativePKCS11Object unwrapped = session.unwrapKey(CKM_AES_KEY_WRAP, null, wrapping.onToken, wrapped, 0, length,
            Keys.AES.types, Keys.AES.values);
        byte[] hidden = encryptOneBlock(session, key);
        tour.check("the unwrapped key encrypts as the first one does",
            Arrays.equals(encryptOneBlock(session, unwrapped), hidden));
        Cipher unwrapper = Cipher.getInstance("AESWrap");
        unwrapper.init(Cipher.UNWRAP_MODE, wrapping.inJdk);
        Cipher jdk = Cipher.getInstance("AES/ECB/NoPadding");
        jdk.init(Cipher.ENCRYPT_MODE, unwrapper.unwrap(Arrays.copyOf(wrapped, length), "AES", Cipher.SECRET_KEY));
        tour.check("so does the key that the JDK unwraps",
            Arrays.equals(jdk.doFinal(Arrays.copyOf(MESSAGE, 16)), hidden));
        wrapped[5] ^= 1;
        tour.checkRefused("a changed wrapped key is refused", () -> session.unwrapKey(CKM_AES_KEY_WRAP, null,
            wrapping.onToken, wrapped, 0, length, Keys.AES.types, Keys.AES.values), CKR_GENERAL_ERROR,
            CKR_WRAPPED_KEY_INVALID);
    }

    private void deriveWithAES(NativePKCS11Session session) throws Exception {
        byte[] data = Keys.random(session, 32);
        byte[] iv = Keys.random(session, 16);
        SecretKey key = KeyGenerator.getInstance("AES").generateKey();
        derive(session, CKK_AES, key, CKM_AES_ECB_ENCRYPT_DATA, new CK_KEY_DERIVATION_STRING_DATA(data),
            encrypt("AES/ECB/NoPadding", key, null, data));
        derive(session, CKK_AES, key, CKM_AES_CBC_ENCRYPT_DATA, new CK_AES_CBC_ENCRYPT_DATA_PARAMS(iv, data),
            encrypt("AES/CBC/NoPadding", key, new IvParameterSpec(iv), data));
    }

    private void deriveWithTripleDES(NativePKCS11Session session) throws Exception {
        byte[] data = Keys.random(session, 32);
        byte[] iv = Keys.random(session, 8);
        SecretKey key = KeyGenerator.getInstance("DESede").generateKey();
        derive(session, CKK_DES3, key, CKM_DES3_ECB_ENCRYPT_DATA, new CK_KEY_DERIVATION_STRING_DATA(data),
            encrypt("DESede/ECB/NoPadding", key, null, data));
        derive(session, CKK_DES3, key, CKM_DES3_CBC_ENCRYPT_DATA, new CK_DES_CBC_ENCRYPT_DATA_PARAMS(iv, data),
            encrypt("DESede/CBC/NoPadding", key, new IvParameterSpec(iv), data));
    }

    /** Derives a key of 32 bytes on the token from one that the JDK has made. */
    private void derive(NativePKCS11Session session, int keyType, SecretKey key, int mechanism, Object parameter,
        byte[] expected) {
        Template base = Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_KEY_TYPE, keyType, CKA_TOKEN, false, CKA_DERIVE,
            true, CKA_VALUE, key.getEncoded());
        Template derived = Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_KEY_TYPE, CKK_GENERIC_SECRET, CKA_TOKEN, false,
            CKA_SENSITIVE, false, CKA_EXTRACTABLE, true, CKA_VALUE_LEN, 32);
        NativePKCS11Object secret = session.deriveKey(mechanism, parameter,
            session.createObject(base.types, base.values), derived.types, derived.values);
        tour.check("the key of " + nameOf("CKM_", mechanism) + " is what the JDK encrypts the data to",
            MessageDigest.isEqual(secret.getByteArrayAttributeValue(CKA_VALUE), expected));
    }

    private static byte[] encrypt(String cipher, SecretKey key, IvParameterSpec iv, byte[] data) throws Exception {
        Cipher jdk = Cipher.getInstance(cipher);
        jdk.init(Cipher.ENCRYPT_MODE, key, iv);
        return jdk.doFinal(data);
    }

    private static byte[] encryptOneBlock(NativePKCS11Session session, NativePKCS11Object key) {
        byte[] block = new byte[16];
        session.encryptInit(CKM_AES_ECB, null, key);
        session.encrypt(MESSAGE, 0, block.length, block, 0);
        return block;
    }
}
