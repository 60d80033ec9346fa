package com.kelvane.tokbridge.provider.test;

import static com.kelvane.tokbridge.provider.test.Tokens.*;
import static org.junit.jupiter.api.Assertions.*;
import static org.junit.jupiter.api.Assumptions.*;

import java.nio.*;
import java.security.*;
import java.security.spec.*;
import java.util.*;
import javax.crypto.*;
import javax.crypto.spec.*;
import org.junit.jupiter.api.*;

/** Wrong uses, each with the exception that JCA documents, after which the token works as before. */
@Tag("any")
class MisuseTest {
    private static final byte[] IV = new byte[16];
    private static SecretKey key;

    /** A wrong use of a cipher that is initialised for decryption. */
    private interface Misuse {
        void of(Cipher cipher) throws Exception;
    }

    @BeforeAll
    static void begin() throws Exception {
        login();
        key = has("KeyGenerator", "AES") && HAS_SESSION_KEYS
            ? KeyGenerator.getInstance("AES", PROVIDER).generateKey() : null;
    }

    private static Cipher start(int mode, String algorithm) throws Exception {
        Cipher cipher = Cipher.getInstance(algorithm, PROVIDER);
        cipher.init(mode, key, algorithm.contains("GCM") ? new GCMParameterSpec(128, IV)
            : algorithm.contains("ECB") ? null : new IvParameterSpec(IV));
        return cipher;
    }

    private static void check(Class<? extends Exception> expected, String algorithm, Misuse misuse) throws Exception {
        if (has("Cipher", algorithm)) {
            Cipher cipher = start(Cipher.DECRYPT_MODE, algorithm);
            assertThrows(expected, () -> misuse.of(cipher), algorithm);
            Cipher valid = Cipher.getInstance("AES/CBC/PKCS5Padding", PROVIDER);
            valid.init(Cipher.ENCRYPT_MODE, key);
            byte[] hidden = valid.doFinal(new byte[20]);
            valid.init(Cipher.DECRYPT_MODE, key, valid.getParameters());
            assertEquals(20, valid.doFinal(hidden).length);
        }
    }

    @Test
    void ciphers() throws Exception {
        assumeTrue(key != null, "the token has no AES keys");
        String cbc = "AES/CBC/NoPadding", padded = "AES/CBC/PKCS5Padding", ecb = "AES/ECB/PKCS5Padding",
            gcm = "AES/GCM/NoPadding";
        byte[] zeros = new byte[32]; // which decrypt to a wrong padding, but for one key of 256
        check(IllegalBlockSizeException.class, cbc, cipher -> cipher.doFinal(zeros, 0, 17));
        check(IllegalBlockSizeException.class, ecb, cipher -> cipher.doFinal(zeros, 0, 15));
        check(BadPaddingException.class, padded, cipher -> cipher.doFinal(zeros));
        byte[] almost = new byte[16]; // ends in a length of 2, of which one byte is wrong
        almost[15] = 2;
        Cipher unpadded = Cipher.getInstance(cbc, PROVIDER);
        unpadded.init(Cipher.ENCRYPT_MODE, key, new IvParameterSpec(IV));
        byte[] wrong = unpadded.doFinal(almost);
        check(BadPaddingException.class, padded, cipher -> cipher.doFinal(wrong));
        check(BadPaddingException.class, padded, cipher -> {
            cipher.update(zeros);
            cipher.doFinal();
        });
        check(AEADBadTagException.class, gcm, cipher -> cipher.doFinal(zeros));
        check(AEADBadTagException.class, gcm, cipher -> cipher.doFinal(zeros, 0, 15));
        for (int size : new int[] {32, 1 << 18}) { // no output without a right tag
            check(AEADBadTagException.class, gcm, cipher -> {
                ByteBuffer out = ByteBuffer.allocateDirect(size);
                try {
                    cipher.doFinal(ByteBuffer.allocateDirect(size), out);
                } finally {
                    assertEquals(ByteBuffer.allocate(size), out);
                }
            });
        }
        check(ShortBufferException.class, cbc, cipher -> cipher.update(zeros, 0, 32, new byte[31]));
        check(IllegalStateException.class, gcm, cipher -> {
            cipher.update(zeros);
            cipher.updateAAD(zeros);
        });
        check(InvalidKeyException.class, gcm, cipher -> cipher.init(Cipher.DECRYPT_MODE, key));
        check(InvalidKeyException.class, cbc, cipher -> cipher.init(Cipher.ENCRYPT_MODE,
            new SecretKeySpec(zeros, "HmacSHA256")));
        check(InvalidKeyException.class, cbc, cipher -> cipher.init(Cipher.ENCRYPT_MODE,
            KeyPairGenerator.getInstance("EC").generateKeyPair().getPublic()));
        for (AlgorithmParameterSpec other : new AlgorithmParameterSpec[] {new IvParameterSpec(zeros),
            new GCMParameterSpec(128, IV)}) {
            check(InvalidAlgorithmParameterException.class, cbc,
                cipher -> cipher.init(Cipher.DECRYPT_MODE, key, other));
        }
        check(InvalidAlgorithmParameterException.class, gcm,
            cipher -> cipher.init(Cipher.DECRYPT_MODE, key, new GCMParameterSpec(20, IV)));
        check(IllegalStateException.class, gcm, cipher -> {
            cipher.init(Cipher.ENCRYPT_MODE, key);
            cipher.doFinal(zeros);
            cipher.doFinal(zeros);
        });
        check(InvalidAlgorithmParameterException.class, gcm, cipher -> {
            for (int i = 0; i < 2; i++) {
                cipher.init(Cipher.ENCRYPT_MODE, key, new GCMParameterSpec(128, IV));
                cipher.doFinal(zeros);
            }
        });
        for (String wrap : new String[] {"AES/KW/NoPadding", "AES/KWP/NoPadding"}) {
            if (has("Cipher", wrap)) { // which fails where session keys are made, and leaves them alone
                Cipher unwrapping = Cipher.getInstance(wrap, PROVIDER);
                unwrapping.init(Cipher.UNWRAP_MODE, key);
                check(InvalidKeyException.class, cbc, cipher -> unwrapping.unwrap(zeros, "AES", Cipher.SECRET_KEY));
            }
        }
        for (Key other : new Key[] {null, ServicesTest.pair("RSA").getPublic()}) {
            check(InvalidKeyException.class, cbc, cipher -> {
                cipher.init(Cipher.WRAP_MODE, key, new IvParameterSpec(IV));
                cipher.wrap(other);
            });
        }
        SecretKey destroyed = KeyGenerator.getInstance("AES", PROVIDER).generateKey();
        destroyed.destroy();
        check(InvalidKeyException.class, cbc, cipher -> cipher.init(Cipher.ENCRYPT_MODE, destroyed));
    }

    /** A doFinal whose output buffer is too small changes nothing for other data. */
    @Test
    void shortOutputsChangeNothing() throws Exception {
        assumeTrue(key != null, "the token has no AES keys");
        for (String algorithm : new String[] {"AES/CBC/NoPadding", "AES/CBC/PKCS5Padding", "AES/CTR/NoPadding",
            "AES/GCM/NoPadding"}) {
            if (has("Cipher", algorithm)) {
                byte[][] plain = {Tokens.random(48), Tokens.random(48)}, hidden = new byte[2][];
                for (int i = 0; i < 2; i++) {
                    Cipher encrypting = start(Cipher.ENCRYPT_MODE, algorithm);
                    byte[] out = new byte[encrypting.getOutputSize(48)];
                    int length = encrypting.update(plain[i], 0, 16, out);
                    assertThrows(ShortBufferException.class, () -> encrypting.doFinal(IV, 0, 16, new byte[15]));
                    hidden[i] = Arrays.copyOf(out, length + encrypting.doFinal(plain[i], 16, 32, out, length));
                }
                Cipher decrypting = start(Cipher.DECRYPT_MODE, algorithm);
                assertThrows(ShortBufferException.class,
                    () -> decrypting.doFinal(hidden[0], 0, hidden[0].length, new byte[15]));
                assertArrayEquals(plain[1], decrypting.doFinal(hidden[1]), algorithm);
            }
        }
    }

    /** The second of two encryptions has another IV, where the cipher makes it. */
    @Test
    void ivsDiffer() throws Exception {
        assumeTrue(key != null, "the token has no AES keys");
        for (String algorithm : new String[] {"AES/CBC/PKCS5Padding", "AES/CTR/NoPadding", "AES/GCM/NoPadding"}) {
            if (has("Cipher", algorithm)) {
                Set<String> ivs = new HashSet<>();
                Cipher cipher = Cipher.getInstance(algorithm, PROVIDER);
                for (int i = 0; i < 20; i++) {
                    cipher.init(Cipher.ENCRYPT_MODE, key);
                    ivs.add(Arrays.toString(cipher.getIV()));
                }
                assertEquals(20, ivs.size(), algorithm);
            }
        }
    }

    /** Even before the JDK's providers ours leaves keys of others to them. */
    @Test
    void keysOfOthersGoToOtherProviders() throws Exception {
        KeyPair software = KeyPairGenerator.getInstance("RSA").generateKeyPair();
        Security.removeProvider(PROVIDER.getName());
        Security.insertProviderAt(PROVIDER, 1);
        try {
            Signature signature = Signature.getInstance("SHA256withRSA");
            signature.initSign(software.getPrivate());
            assertNotSame(PROVIDER, signature.getProvider());
            Signature verifying = Signature.getInstance("SHA256withRSA");
            verifying.initVerify(ServicesTest.pair("RSA").getPublic());
            assertNotSame(PROVIDER, verifying.getProvider());
            signature = Signature.getInstance("SHA256withRSA");
            signature.initSign(ServicesTest.pair("RSA").getPrivate());
            assertSame(PROVIDER, signature.getProvider());
        } finally {
            Security.removeProvider(PROVIDER.getName());
            Security.addProvider(PROVIDER);
        }
    }

    @Test
    void signaturesAndOthers() throws Exception {
        KeyPair pair = ServicesTest.pair("RSA");
        Signature none = Signature.getInstance("NONEwithRSA", PROVIDER);
        none.initSign(pair.getPrivate());
        none.update(new byte[300]);
        assertThrows(SignatureException.class, none::sign);
        none.update(new byte[20]);
        assertEquals(256, none.sign().length);
        none.initVerify(pair.getPublic());
        assertThrows(InvalidKeyException.class, () -> none.initSign(null));
        assertThrows(SignatureException.class, () -> none.verify(new byte[256]));
        none.initSign(pair.getPrivate());
        assertThrows(InvalidKeyException.class, () -> none.initVerify((PublicKey) null));
        assertThrows(SignatureException.class, none::sign);
        if (has("Signature", "RSASSA-PSS")) {
            Signature pss = Signature.getInstance("RSASSA-PSS", PROVIDER);
            pss.initSign(pair.getPrivate());
            assertThrows(SignatureException.class, pss::sign);
            for (PSSParameterSpec wrong : new PSSParameterSpec[] {
                new PSSParameterSpec("SHA-256", "MGF1", MGF1ParameterSpec.SHA256, 32, 2),
                new PSSParameterSpec("SHA-256", "MGF2", MGF1ParameterSpec.SHA256, 32, 1)}) {
                assertThrows(InvalidAlgorithmParameterException.class, () -> pss.setParameter(wrong));
            }
            pss.update((byte) 1); // which new parameters would drop
            assertThrows(ProviderException.class, () -> pss.setParameter(
                new PSSParameterSpec("SHA-256", "MGF1", MGF1ParameterSpec.SHA256, 32, 1)));
        }
        Cipher rsa = Cipher.getInstance("RSA/ECB/PKCS1Padding", PROVIDER);
        rsa.init(Cipher.DECRYPT_MODE, pair.getPrivate());
        assertThrows(IllegalBlockSizeException.class, () -> rsa.doFinal(new byte[257]));
        try {
            rsa.doFinal(new byte[256]); // many modules return random data for wrong padding, to keep it secret
        } catch (BadPaddingException e) {
            // The others report it.
        }
        assertThrows(InvalidKeyException.class, () -> rsa.init(Cipher.ENCRYPT_MODE, pair.getPrivate()));
        if (has("Signature", "SHA256withECDSA")) {
            Signature ecdsa = Signature.getInstance("SHA256withECDSA", PROVIDER);
            assertThrows(InvalidKeyException.class, () -> ecdsa.initSign(pair.getPrivate()));
        }
        if (key != null) {
            KeyGenerator generator = KeyGenerator.getInstance("AES", PROVIDER);
            assertThrows(InvalidParameterException.class, () -> generator.init(100));
            Mac mac = Mac.getInstance("HmacSHA256", PROVIDER);
            assertThrows(InvalidKeyException.class, () -> mac.init(pair.getPrivate()));
            KeyPairGenerator pairs = KeyPairGenerator.getInstance("RSA", PROVIDER);
            assertThrows(InvalidAlgorithmParameterException.class,
                () -> pairs.initialize(new ECGenParameterSpec("secp256r1")));
            for (String algorithm : new String[] {"RSA", "EC", "DSA"}) {
                if (has("KeyPairGenerator", algorithm)) {
                    assertThrows(InvalidParameterException.class,
                        () -> KeyPairGenerator.getInstance(algorithm, PROVIDER).initialize(99));
                }
            }
            assertThrows(InvalidKeyException.class, () -> KeyFactory.getInstance("RSA", PROVIDER)
                .translateKey(KeyPairGenerator.getInstance("EC").generateKeyPair().getPrivate()));
            assertThrows(InvalidKeyException.class,
                () -> SecretKeyFactory.getInstance("AES", PROVIDER).translateKey(null));
        }
    }
}
