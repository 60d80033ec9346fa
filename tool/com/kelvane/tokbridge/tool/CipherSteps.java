package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.CK_GCM_PARAMS;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.nio.charset.StandardCharsets;
import java.security.MessageDigest;
import java.util.Arrays;
import javax.crypto.Cipher;
import javax.crypto.spec.GCMParameterSpec;
import javax.crypto.spec.IvParameterSpec;

/** AES in several modes, SHA-256, and the wrapping of keys, each compared with the JDK's own implementation. */
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
        token.step("AES-256 GCM", CKM_AES_GCM, this::gcm);
        token.step("AES-256 CBC, a stream of " + CHUNK * CHUNKS / (1024 * 1024) + " MiB", CKM_AES_CBC_PAD,
            this::stream);
        token.step("SHA-256 in parts", this::digest);
        token.step("AES key wrap", CKM_AES_KEY_WRAP, this::wrap);
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

    private static byte[] encryptOneBlock(NativePKCS11Session session, NativePKCS11Object key) {
        byte[] block = new byte[16];
        session.encryptInit(CKM_AES_ECB, null, key);
        session.encrypt(MESSAGE, 0, block.length, block, 0);
        return block;
    }
}
