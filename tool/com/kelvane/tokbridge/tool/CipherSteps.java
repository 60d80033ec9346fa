package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.CK_AES_CBC_ENCRYPT_DATA_PARAMS;
import com.kelvane.pkcs11.CK_AES_CTR_PARAMS;
import com.kelvane.pkcs11.CK_DES_CBC_ENCRYPT_DATA_PARAMS;
import com.kelvane.pkcs11.CK_GCM_PARAMS;
import com.kelvane.pkcs11.CK_KEY_DERIVATION_STRING_DATA;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.nio.charset.StandardCharsets;
import java.security.MessageDigest;
import java.util.Arrays;
import java.util.Random;
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

    /** Bytes of a stream: no whole number of blocks, so that the padding has something to do. */
    private static final int STREAM = 4 * 1024 * 1024 - 5;

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
        token.step("AES-256 CBC, a stream of 4 MiB", CKM_AES_CBC_PAD, this::stream);
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

        byte[] hidden = session.encrypt(CKM_AES_CBC_PAD, iv, key.onToken, MESSAGE);
        tour.check("the encrypted message agrees with the JDK", Arrays.equals(hidden, jdk.doFinal(MESSAGE)));
        tour.check("it is decrypted again",
            Arrays.equals(session.decrypt(CKM_AES_CBC_PAD, iv, key.onToken, hidden), MESSAGE));
    }

    private void ctr(NativePKCS11Session session) throws Exception {
        Keys.Shared key = new Keys.Shared(session);
        byte[] counter = Keys.random(session, 16);
        Cipher jdk = Cipher.getInstance("AES/CTR/NoPadding");
        jdk.init(Cipher.ENCRYPT_MODE, key.inJdk, new IvParameterSpec(counter));

        byte[] hidden = session.encrypt(CKM_AES_CTR, new CK_AES_CTR_PARAMS(128, counter), key.onToken, MESSAGE);
        tour.check("as many bytes come out as went in, and agree with the JDK",
            Arrays.equals(hidden, jdk.doFinal(MESSAGE)));
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

        byte[] hidden = session.encrypt(CKM_AES_GCM, parameter, key.onToken, MESSAGE);
        tour.check("text and tag agree with the JDK", Arrays.equals(hidden, expected));
        tour.check("it is decrypted again",
            Arrays.equals(session.decrypt(CKM_AES_GCM, parameter, key.onToken, hidden), MESSAGE));
        hidden[hidden.length - 1] ^= 1;
        tour.checkRefused("a changed tag is refused", () -> session.decrypt(CKM_AES_GCM, parameter, key.onToken,
            hidden), CKR_GENERAL_ERROR, CKR_ENCRYPTED_DATA_INVALID);
    }

    private void stream(NativePKCS11Session session) throws Exception {
        Keys.Shared key = new Keys.Shared(session);
        byte[] iv = Keys.random(session, 16);
        byte[] plain = new byte[STREAM];
        new Random().nextBytes(plain);
        ByteArrayOutputStream hidden = new ByteArrayOutputStream();
        session.encrypt(CKM_AES_CBC_PAD, iv, key.onToken, new ByteArrayInputStream(plain), hidden);
        ByteArrayOutputStream shown = new ByteArrayOutputStream();
        session.decrypt(CKM_AES_CBC_PAD, iv, key.onToken, new ByteArrayInputStream(hidden.toByteArray()), shown);
        tour.check(plain.length + " bytes became " + hidden.size(), hidden.size() == STREAM / 16 * 16 + 16);
        tour.check("what came back is what went in", Arrays.equals(shown.toByteArray(), plain));
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
        NativePKCS11Object key = session.generateKey(CKM_AES_KEY_GEN, null, Keys.AES.and(CKA_VALUE_LEN, 32));
        tour.checkRefused("room for 39 bytes is too small", () -> session.wrapKey(CKM_AES_KEY_WRAP, null,
            wrapping.onToken, key, new byte[39], 0), CKR_BUFFER_TOO_SMALL);
        byte[] wrapped = session.wrapKey(CKM_AES_KEY_WRAP, null, wrapping.onToken, key);
        tour.check("a key of 32 bytes is wrapped in 40", wrapped.length == 40);

        NativePKCS11Object unwrapped = session.unwrapKey(CKM_AES_KEY_WRAP, null, wrapping.onToken, wrapped, Keys.AES);
        byte[] hidden = encryptOneBlock(session, key);
        tour.check("the unwrapped key encrypts as the first one does",
            Arrays.equals(encryptOneBlock(session, unwrapped), hidden));
        Cipher unwrapper = Cipher.getInstance("AESWrap");
        unwrapper.init(Cipher.UNWRAP_MODE, wrapping.inJdk);
        Cipher jdk = Cipher.getInstance("AES/ECB/NoPadding");
        jdk.init(Cipher.ENCRYPT_MODE, unwrapper.unwrap(wrapped, "AES", Cipher.SECRET_KEY));
        tour.check("so does the key that the JDK unwraps",
            Arrays.equals(jdk.doFinal(Arrays.copyOf(MESSAGE, 16)), hidden));
        wrapped[5] ^= 1;
        tour.checkRefused("a changed wrapped key is refused", () -> session.unwrapKey(CKM_AES_KEY_WRAP, null,
            wrapping.onToken, wrapped, Keys.AES), CKR_GENERAL_ERROR, CKR_WRAPPED_KEY_INVALID);
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
        NativePKCS11Object base = session.createObject(Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_KEY_TYPE, keyType,
            CKA_TOKEN, false, CKA_DERIVE, true, CKA_VALUE, key.getEncoded()));
        NativePKCS11Object secret = session.deriveKey(mechanism, parameter, base, Template.of(CKA_CLASS, CKO_SECRET_KEY,
            CKA_KEY_TYPE, CKK_GENERIC_SECRET, CKA_TOKEN, false, CKA_SENSITIVE, false, CKA_EXTRACTABLE, true,
            CKA_VALUE_LEN, 32));
        tour.check("the key of " + nameOf("CKM_", mechanism) + " is what the JDK encrypts the data to",
            MessageDigest.isEqual(secret.getByteArrayAttributeValue(CKA_VALUE), expected));
    }

    private static byte[] encrypt(String cipher, SecretKey key, IvParameterSpec iv, byte[] data) throws Exception {
        Cipher jdk = Cipher.getInstance(cipher);
        jdk.init(Cipher.ENCRYPT_MODE, key, iv);
        return jdk.doFinal(data);
    }

    private static byte[] encryptOneBlock(NativePKCS11Session session, NativePKCS11Object key) {
        return session.encrypt(CKM_AES_ECB, null, key, Arrays.copyOf(MESSAGE, 16));
    }
}
