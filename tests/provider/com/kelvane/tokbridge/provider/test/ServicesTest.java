package com.kelvane.tokbridge.provider.test;

import static com.kelvane.tokbridge.provider.test.Tokens.*;
import static org.junit.jupiter.api.Assertions.*;
import static org.junit.jupiter.api.Assumptions.*;

import com.kelvane.pkcs11.provider.*;
import java.io.*;
import java.math.*;
import java.nio.*;
import java.security.*;
import java.security.interfaces.*;
import java.security.spec.*;
import java.util.*;
import java.util.stream.*;
import javax.crypto.*;
import javax.crypto.spec.*;
import org.junit.jupiter.api.*;

/** Every service that the token offers, against the JDK's own implementation in software. */
@Tag("any")
class ServicesTest {
    private static final Provider CMAC = new org.bouncycastle.jce.provider.BouncyCastleProvider();
    private static final Map<String, KeyPair> PAIRS = new HashMap<>();

    @BeforeAll
    static void logIn() throws Exception {
        login();
    }

    @TestFactory
    Stream<DynamicTest> services() {
        return PROVIDER.getServices().stream().map(service -> DynamicTest.dynamicTest(
            service.getType() + "." + service.getAlgorithm(),
            () -> exercise(service.getType(), service.getAlgorithm())));
    }

    private void exercise(String type, String algorithm) throws Exception {
        assumeFalse(MODULE.contains("tpm2") && algorithm.contains("224withECDSA"), "the TPM has no hashes of 224 bits");
        assumeTrue(HAS_SESSION_KEYS || type.equals("Signature") || type.equals("SecureRandom"), "no session keys");
        assumeFalse(IS_NSS && algorithm.endsWith("448"), "NSS does not have these curves");
        switch (type) {
            case "Signature":
                signature(algorithm);
                break;
            case "Cipher":
                cipher(algorithm);
                break;
            case "Mac":
                mac(algorithm);
                break;
            case "KeyAgreement":
                agreement(algorithm);
                break;
            case "KeyPairGenerator":
                assertEquals("X.509", pair(algorithm).getPublic().getFormat());
                assertHidden(pair(algorithm).getPrivate());
                break;
            case "KeyGenerator":
                SecretKey key = KeyGenerator.getInstance(algorithm, PROVIDER).generateKey();
                assertEquals(algorithm, key.getAlgorithm());
                assertHidden(key);
                break;
            case "KeyFactory":
                imported(algorithm);
                break;
            case "SecretKeyFactory":
                SecretKeyFactory factory = SecretKeyFactory.getInstance(algorithm, PROVIDER);
                SecretKey secret = factory.generateSecret(new SecretKeySpec(Tokens.random(32), algorithm));
                assertSame(secret, factory.translateKey(secret));
                assertThrows(InvalidKeySpecException.class, () -> factory.getKeySpec(secret, SecretKeySpec.class));
                break;
            case "SecureRandom":
                SecureRandom random = SecureRandom.getInstance(algorithm, PROVIDER);
                random.setSeed(1);
                assumeFalse(MODULE.contains("opensc"), "OpenSC flags random numbers and has none");
                assertFalse(Arrays.equals(random.generateSeed(16), random.generateSeed(16)));
                byte[] many = new byte[100_001], again = many.clone();
                random.nextBytes(many);
                IntStream.range(0, 8).forEach(round -> {
                    random.nextBytes(again);
                    IntStream.range(0, many.length).forEach(i -> many[i] |= again[i]);
                });
                assertTrue(IntStream.range(0, many.length).allMatch(i -> many[i] != 0), "each byte is written");
                break;
            default:
                assertEquals("KeyStore", type); // which has a test of its own
        }
    }

    /** A key has no encoding and no serial form, and its text no secret. */
    private static void assertHidden(Key key) throws Exception {
        assertNull(key.getEncoded());
        assertThrows(NotSerializableException.class, () -> new ObjectOutputStream(OutputStream.nullOutputStream())
            .writeObject(key));
        assertTrue(key.toString().contains(LABEL), key.toString());
        assertThrows(NotSerializableException.class, () -> new ObjectOutputStream(OutputStream.nullOutputStream())
            .writeObject(PROVIDER));
    }

    /** A pair of the token's, for signatures and keys of an algorithm; cards have theirs in the key store. */
    static KeyPair pair(String algorithm) throws Exception {
        if (!PAIRS.containsKey(algorithm)) {
            if (has("KeyPairGenerator", algorithm) && MAKES_KEYS) {
                KeyPairGenerator generator = KeyPairGenerator.getInstance(algorithm, PROVIDER);
                if (algorithm.equals("DSA")) {
                    generator.initialize(2048);
                } else if (!HAS_SESSION_KEYS) {
                    generator.initialize(new TokenKeySpec(null).onToken("pair"));
                }
                PAIRS.put(algorithm, generator.generateKeyPair());
            } else {
                KeyStore store = keyStore(PROVIDER, PIN);
                for (String alias : Collections.list(store.aliases())) {
                    if (store.isKeyEntry(alias) && store.getKey(alias, null).getAlgorithm().equals(algorithm)) {
                        PAIRS.putIfAbsent(algorithm, new KeyPair(store.getCertificate(alias).getPublicKey(),
                            (PrivateKey) store.getKey(alias, null)));
                    }
                }
            }
        }
        assumeTrue(PAIRS.containsKey(algorithm), "the token has no key for " + algorithm);
        return PAIRS.get(algorithm);
    }

    private static String keyAlgorithm(String algorithm) {
        return algorithm.contains("RSA") ? "RSA" : algorithm.contains("ECDSA") || algorithm.equals("ECDH") ? "EC"
            : algorithm.contains("withDSA") ? "DSA" : algorithm;
    }

    private static void signature(String algorithm) throws Exception {
        KeyPair pair = pair(keyAlgorithm(algorithm));
        Signature ours = Signature.getInstance(algorithm, PROVIDER);
        if (algorithm.equals("RSASSA-PSS")) {
            ours.setParameter(new PSSParameterSpec("SHA-256", "MGF1", MGF1ParameterSpec.SHA256, 17, 1));
        }
        String theirs = algorithm.contains("MGF1") ? "RSASSA-PSS" : algorithm;
        for (int size : algorithm.startsWith("NONE") ? new int[] {20} : new int[] {0, 1, 63, 5000}) {
            byte[] data = Tokens.random(size);
            ours.initSign(pair.getPrivate());
            int split = RANDOM.nextInt(size + 1);
            ours.update(data, 0, split);
            ours.update(ByteBuffer.wrap(data, split, size - split));
            byte[] signature = ours.sign();
            Signature verifier = Signature.getInstance(theirs);
            if (theirs.equals("RSASSA-PSS")) {
                verifier.setParameter(ours.getParameters().getParameterSpec(PSSParameterSpec.class));
            }
            verifier.initVerify(pair.getPublic());
            assertFalse(verifier.getProvider() instanceof TokbridgeProvider);
            verifier.update(data);
            assertTrue(verifier.verify(signature), algorithm + " of " + size + " bytes");
            for (byte changed : new byte[] {0, 1}) {
                ours.initVerify(pair.getPublic());
                ours.update(data);
                ours.update(new byte[changed]);
                if (!algorithm.startsWith("NONE") || changed == 0) {
                    assertEquals(changed == 0, ours.verify(signature));
                }
            }
        }
        Signature unnamed = Signature.getInstance(algorithm);
        unnamed.initSign(pair.getPrivate());
        assertSame(PROVIDER, unnamed.getProvider());
    }

    private static void cipher(String algorithm) throws Exception {
        if (algorithm.startsWith("RSA")) {
            rsa(algorithm);
        } else if (algorithm.contains("/KW")) {
            wrap(algorithm);
        } else {
            for (int size : new int[] {0, 16, 32, 1, 17, 4096, 70_001, 262_160}) {
                if (size % 16 == 0 || !algorithm.matches("AES/(ECB|CBC)/NoPadding")) {
                    crypt(algorithm, size);
                }
            }
        }
    }

    private static void crypt(String algorithm, int size) throws Exception {
        String keyAlgorithm = algorithm.startsWith("AES") ? "AES" : "ChaCha20";
        SecretKey software = new SecretKeySpec(Tokens.random(32), keyAlgorithm);
        SecretKey hardware = SecretKeyFactory.getInstance(keyAlgorithm, PROVIDER).translateKey(software);
        byte[] plain = Tokens.random(size);
        byte[] associated = Tokens.random(RANDOM.nextInt(40));
        Cipher theirs = Cipher.getInstance(algorithm);
        theirs.init(Cipher.ENCRYPT_MODE, software);
        AlgorithmParameters parameters = theirs.getParameters();
        boolean isAead = algorithm.contains("GCM") || algorithm.contains("Poly");
        if (isAead) {
            theirs.updateAAD(associated);
        }
        byte[] hidden = theirs.doFinal(plain);
        Cipher ours = Cipher.getInstance(algorithm, PROVIDER);
        for (int way = 0; way < WAYS; way++) {
            ours.init(Cipher.DECRYPT_MODE, hardware, parameters);
            if (isAead) {
                ours.updateAAD(associated, 0, associated.length / 2);
                ours.updateAAD(ByteBuffer.wrap(associated, associated.length / 2, (associated.length + 1) / 2));
            }
            assertArrayEquals(plain, run(ours, hidden, way), algorithm + " decrypts " + size + " bytes, way " + way);
            ours.init(Cipher.ENCRYPT_MODE, hardware);
            if (isAead) {
                ours.updateAAD(associated);
            }
            AlgorithmParameters made = ours.getParameters();
            byte[] encrypted = run(ours, plain, way);
            theirs.init(Cipher.DECRYPT_MODE, software, made);
            if (isAead) {
                theirs.updateAAD(associated);
            }
            assertArrayEquals(plain, theirs.doFinal(encrypted), algorithm + " encrypts " + size + " bytes, way " + way);
        }
    }

    private static final int WAYS = 9;

    /** Passes data to a cipher in one of several ways: whole, in parts, in place, after a short output, in buffers. */
    private static byte[] run(Cipher cipher, byte[] data, int way) throws Exception {
        ByteArrayOutputStream out = new ByteArrayOutputStream();
        switch (way) {
            case 0:
                return cipher.doFinal(data);
            case 1:
                for (int at = 0; at < data.length;) {
                    int length = Math.min(data.length - at, 1 + RANDOM.nextInt(data.length / 3 + 40));
                    ByteBuffer part = ByteBuffer.allocate(length + 16); // enough for an update, not for a doFinal
                    cipher.update(ByteBuffer.wrap(data, at, length), part);
                    out.write(part.array(), 0, part.position());
                    at += length;
                }
                out.write(cipher.doFinal());
                return out.toByteArray();
            case 2:
                int shift = RANDOM.nextInt(3);
                byte[] room = new byte[data.length + 64];
                System.arraycopy(data, 0, room, 5, data.length);
                int half = data.length / 2;
                int written = cipher.update(room, 5, half, room, shift);
                byte[] rest = Arrays.copyOfRange(room, 5 + half, 5 + data.length);
                System.arraycopy(rest, 0, room, shift + written, rest.length);
                written += cipher.doFinal(room, shift + written, rest.length, room, shift + written);
                return Arrays.copyOfRange(room, shift, shift + written);
            case 3:
                return wholeAfterShortOutput(cipher, data);
            default:
                return inBuffers(cipher, data, (way & 1) == 0, (way & 2) == 0, way == WAYS - 1);
        }
    }

    private static byte[] wholeAfterShortOutput(Cipher cipher, byte[] data) throws Exception {
        byte[] whole = new byte[cipher.getOutputSize(data.length) + 1];
        for (int offset : new int[] {whole.length, whole.length - 1, 1}) {
            try {
                int count = cipher.doFinal(data, 0, data.length, whole, offset);
                return Arrays.copyOfRange(whole, offset, offset + count);
            } catch (ShortBufferException e) {
                assertTrue(offset > 1, "the size that getOutputSize returns is enough");
            }
        }
        return null;
    }

    /** Buffers move on by their data, and a short output moves none. In place, both share memory with a shift. */
    private static byte[] inBuffers(Cipher cipher, byte[] data, boolean directIn, boolean directOut, boolean inPlace)
        throws Exception {
        int size = Math.max(data.length, cipher.getOutputSize(data.length));
        ByteBuffer memory = directIn ? ByteBuffer.allocateDirect(size + 8) : ByteBuffer.allocate(size + 8);
        memory.position(3);
        ByteBuffer in = memory.slice().put(data).flip();
        int shift = RANDOM.nextInt(6);
        ByteBuffer out = inPlace ? memory.duplicate().position(shift) : directOut ? ByteBuffer.allocateDirect(size)
            : ByteBuffer.allocate(size);
        int begin = out.position();
        ByteBuffer given = inPlace ? in : in.asReadOnlyBuffer();
        if (data.length > 16 && !inPlace) {
            ByteBuffer tooShort = out.duplicate().limit(data.length - 17);
            assertThrows(ShortBufferException.class, () -> cipher.doFinal(given, tooShort));
            assertEquals(0, given.position());
        }
        int written = cipher.doFinal(given, out);
        assertEquals(data.length, given.position());
        assertEquals(begin + written, out.position());
        byte[] result = new byte[written];
        out.duplicate().position(begin).get(result);
        return result;
    }

    private static OAEPParameterSpec oaep(String algorithm) {
        String hash = algorithm.contains("With") ? algorithm.replaceAll(".*With(.*)And.*", "$1") : "SHA-1";
        return new OAEPParameterSpec(hash, "MGF1", new MGF1ParameterSpec(IS_SOFTHSM ? "SHA-1" : hash),
            PSource.PSpecified.DEFAULT);
    }

    private static void rsa(String algorithm) throws Exception {
        assumeTrue(!IS_SOFTHSM || !algorithm.matches(".*OAEPWithSHA-[2345].*"), "SoftHSM2 has OAEP with SHA-1 only");
        KeyPair pair = pair("RSA");
        byte[] data = Tokens.random(20);
        Cipher theirs = Cipher.getInstance(algorithm.contains("OAEP") ? "RSA/ECB/OAEPPadding" : algorithm);
        Cipher ours = Cipher.getInstance(algorithm, PROVIDER);
        OAEPParameterSpec parameters = algorithm.contains("OAEP") ? oaep(algorithm) : null;
        theirs.init(Cipher.ENCRYPT_MODE, pair.getPublic(), parameters);
        ours.init(Cipher.DECRYPT_MODE, pair.getPrivate(), parameters);
        byte[] hidden;
        do {
            hidden = theirs.doFinal(data);
        } while (hidden[0] != 0);
        assertArrayEquals(data, ours.doFinal(hidden, 1, hidden.length - 1));
        Cipher encrypting = Cipher.getInstance(algorithm, PROVIDER);
        encrypting.init(Cipher.ENCRYPT_MODE, pair.getPublic(), parameters);
        assertArrayEquals(data, ours.doFinal(encrypting.doFinal(data)));
        assumeTrue(has("SecretKeyFactory", "AES"), "the token has no secret keys");
        encrypting.init(Cipher.WRAP_MODE, pair.getPublic(), parameters);
        SecretKey software = new SecretKeySpec(Tokens.random(16), "AES");
        ours.init(Cipher.UNWRAP_MODE, pair.getPrivate(), parameters);
        SecretKey inside = (SecretKey) ours.unwrap(encrypting.wrap(software), "AES", Cipher.SECRET_KEY);
        assertSameKey(software, inside);
        KeyGenerator generator = KeyGenerator.getInstance("AES", PROVIDER);
        generator.init(new TokenKeySpec(null).extractable(true));
        SecretKey own = generator.generateKey();
        assertSameKey((SecretKey) ours.unwrap(encrypting.wrap(own), "AES", Cipher.SECRET_KEY), own);
    }

    /** Two AES keys of which one at least is on the token, and whose values are equal. */
    private static void assertSameKey(SecretKey one, SecretKey other) throws Exception {
        byte[][] hidden = new byte[2][];
        for (int i = 0; i < 2; i++) {
            Cipher cipher = Cipher.getInstance("AES/ECB/NoPadding");
            cipher.init(Cipher.ENCRYPT_MODE, i == 0 ? one : other);
            hidden[i] = cipher.doFinal(new byte[16]);
        }
        assertArrayEquals(hidden[0], hidden[1]);
    }

    private static void wrap(String algorithm) throws Exception {
        SecretKey software = new SecretKeySpec(Tokens.random(32), "AES");
        SecretKey hardware = SecretKeyFactory.getInstance("AES", PROVIDER).translateKey(software);
        Cipher theirs = Cipher.getInstance(algorithm);
        Cipher ours = Cipher.getInstance(algorithm, PROVIDER);
        for (int size : new int[] {16, 24, 32}) {
            SecretKey key = new SecretKeySpec(Tokens.random(size), "AES");
            ours.init(Cipher.WRAP_MODE, hardware);
            theirs.init(Cipher.UNWRAP_MODE, software);
            assertEquals(key, theirs.unwrap(ours.wrap(key), "AES", Cipher.SECRET_KEY));
            theirs.init(Cipher.WRAP_MODE, software);
            ours.init(Cipher.UNWRAP_MODE, hardware);
            assertSameKey(key, (SecretKey) ours.unwrap(theirs.wrap(key), "AES", Cipher.SECRET_KEY));
        }
        if (algorithm.contains("KWP")) {
            KeyPair pair = KeyPairGenerator.getInstance("RSA").generateKeyPair();
            theirs.init(Cipher.WRAP_MODE, software);
            PrivateKey inside = (PrivateKey) ours.unwrap(theirs.wrap(pair.getPrivate()), "RSA", Cipher.PRIVATE_KEY);
            assertSigns("SHA256withRSA", inside, pair.getPublic());
        }
    }

    private static void assertSigns(String algorithm, PrivateKey inside, PublicKey publicKey) throws Exception {
        Signature signature = Signature.getInstance(algorithm);
        signature.initSign(inside);
        signature.update(new byte[] {1, 2});
        byte[] made = signature.sign();
        signature.initVerify(publicKey);
        signature.update(new byte[] {1, 2});
        assertTrue(signature.verify(made));
    }

    private static void mac(String algorithm) throws Exception {
        boolean isCmac = algorithm.equals("AESCMAC");
        SecretKey software = new SecretKeySpec(Tokens.random(isCmac ? 16 : 64), isCmac ? "AES" : algorithm);
        Mac ours = Mac.getInstance(algorithm, PROVIDER);
        Mac theirs = isCmac ? Mac.getInstance("AESCMAC", CMAC) : Mac.getInstance(algorithm);
        theirs.init(software);
        ours.init(SecretKeyFactory.getInstance(isCmac ? "AES" : "Generic", PROVIDER).translateKey(software));
        for (int size : new int[] {0, 1, 100, 65_537, 200_000}) {
            byte[] data = Tokens.random(size);
            int split = RANDOM.nextInt(size + 1);
            ours.update(data, 0, split);
            ours.update(data, split, size - split);
            assertArrayEquals(theirs.doFinal(data), ours.doFinal(), algorithm + " of " + size + " bytes");
        }
        assertEquals(theirs.getMacLength(), ours.getMacLength());
        ours.init(new SecretKeySpec(software.getEncoded(), "of any name"));
        assertArrayEquals(theirs.doFinal(), ours.doFinal());
        if (IS_SOFTHSM && !isCmac) { // which wants keys as long as the MAC
            assertThrows(InvalidKeyException.class, () -> ours.init(new SecretKeySpec(new byte[1], algorithm)));
        }
    }

    private static void agreement(String algorithm) throws Exception {
        assumeFalse(MODULE.contains("opensc"), "the key of the card is for signatures");
        String keys = keyAlgorithm(algorithm);
        KeyPair inside = pair(keys);
        KeyPairGenerator generator = KeyPairGenerator.getInstance(keys);
        generator.initialize(inside.getPublic() instanceof ECKey ? ((ECKey) inside.getPublic()).getParams()
            : ((XECKey) inside.getPublic()).getParams());
        KeyPair outside = generator.generateKeyPair();
        KeyAgreement ours = KeyAgreement.getInstance(algorithm, PROVIDER);
        KeyAgreement theirs = KeyAgreement.getInstance(algorithm);
        ours.init(inside.getPrivate());
        ours.doPhase(outside.getPublic(), true);
        theirs.init(outside.getPrivate());
        theirs.doPhase(inside.getPublic(), true);
        byte[] secret = theirs.generateSecret();
        assertArrayEquals(secret, ours.generateSecret());
        ours.doPhase(outside.getPublic(), true);
        assertArrayEquals(secret, ours.generateSecret("TlsPremasterSecret").getEncoded());
        if (secret.length == 32 && has("Cipher", "AES/ECB/NoPadding")) {
            ours.doPhase(outside.getPublic(), true);
            assertSameKey(new SecretKeySpec(secret, "AES"), ours.generateSecret("AES"));
        }
    }

    private static void imported(String algorithm) throws Exception {
        KeyPairGenerator generator = KeyPairGenerator.getInstance(algorithm);
        if (algorithm.equals("EC") || algorithm.equals("DSA")) {
            generator.initialize(algorithm.equals("EC") ? 256 : 2048);
        }
        KeyPair pair = generator.generateKeyPair();
        KeyFactory factory = KeyFactory.getInstance(algorithm, PROVIDER);
        assertEquals(pair.getPublic(), factory.generatePublic(new X509EncodedKeySpec(pair.getPublic().getEncoded())));
        assumeTrue(has("KeyPairGenerator", algorithm), "the token takes no keys");
        PrivateKey inside = factory.generatePrivate(new PKCS8EncodedKeySpec(pair.getPrivate().getEncoded()));
        assertHidden(inside);
        if (algorithm.equals("XDH")) {
            byte[][] secrets = new byte[2][];
            for (int i = 0; i < 2; i++) {
                KeyAgreement agreement = KeyAgreement.getInstance("XDH");
                agreement.init(i == 0 ? inside : pair.getPrivate());
                agreement.doPhase(pair.getPublic(), true);
                secrets[i] = agreement.generateSecret();
            }
            assertArrayEquals(secrets[1], secrets[0]);
        } else {
            assertSigns(Map.of("RSA", "SHA256withRSA", "EC", "SHA256withECDSA", "DSA", "SHA256withDSA").getOrDefault(
                algorithm, algorithm), inside, pair.getPublic());
        }
    }
}
