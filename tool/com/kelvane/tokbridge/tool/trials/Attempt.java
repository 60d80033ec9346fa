package com.kelvane.tokbridge.tool.trials;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.tool.trials.Operations.MESSAGE;
import static com.kelvane.tokbridge.tool.trials.Verdict.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import com.kelvane.tokbridge.tool.token.Token;
import java.io.ByteArrayInputStream;
import java.security.*;
import java.security.interfaces.*;
import java.util.*;
import javax.crypto.*;
import javax.crypto.interfaces.DHPublicKey;
import javax.crypto.spec.SecretKeySpec;

/**
 * An attempt at an operation: a method for each use, which carries it out on the token, compares the result with the
 * JDK's, inverts it, and returns what it was compared with. It has a session of its own, so that an operation that a
 * failure left active does not disturb the next; objects that are created in it are destroyed at its end.
 */
final class Attempt implements AutoCloseable {
    /** The parameter that is the key itself. */
    static final Object THE_KEY = new Object();

    private static final String MATCHES_JDK = "matches the JDK", SELF_CONSISTENT = "self-consistent";

    /** As much as every RSA key can encrypt. */
    private static final byte[] SHORT_MESSAGE = Arrays.copyOf(MESSAGE, 16);

    /** The mechanisms that authenticate, with {@link Operations#HEADER}; and those that wrap a key of any length. */
    private static final Set<Integer> AUTHENTICATED = Set.of(CKM_AES_GCM, CKM_AES_CCM, CKM_CHACHA20_POLY1305),
        PADDED = Set.of(CKM_AES_KEY_WRAP_PAD, CKM_AES_KEY_WRAP_KWP);
    private static final Template SECRET = Template.of(CKA_CLASS, CKO_SECRET_KEY), READABLE = SECRET.and(
        CKA_SENSITIVE, false, CKA_EXTRACTABLE, true);

    /** A computation with an algorithm of the JDK. */
    private interface Computation<T> {
        T with(String algorithm) throws GeneralSecurityException;
    }

    final Token token;
    final NativePKCS11Session session;
    private final Operation operation;
    private final Key key;
    private final int mechanism;
    private final Object parameter;

    Attempt(Token token, Operation operation, Key key) {
        this.token = token;
        this.operation = operation;
        this.key = key;
        mechanism = operation.mechanism;
        parameter = operation.parameter == THE_KEY ? key.object : operation.parameter;
        session = token.open();
    }

    /** Returns what the JDK computes; null if it lacks the key or the algorithm. */
    private <T> T jdk(boolean hasKey, Computation<T> computation) throws GeneralSecurityException {
        return hasKey && !operation.algorithms.isEmpty() ? jdk(operation.algorithms.get(0), computation) : null;
    }

    private static <T> T jdk(String algorithm, Computation<T> computation) throws GeneralSecurityException {
        try {
            return computation.with(algorithm);
        } catch (NoSuchAlgorithmException | NoSuchPaddingException e) {
            return null;
        }
    }

    private Cipher jdkCipher(String algorithm, int mode, java.security.Key with) throws GeneralSecurityException {
        Cipher cipher = Cipher.getInstance(algorithm);
        cipher.init(mode, with, operation.jdkParameter);
        return cipher;
    }

    private SecretKey jdkSecretKey() {
        return new SecretKeySpec(key.value, operation.kind.algorithm);
    }

    private boolean isOffered(int flags) {
        return token.offers(mechanism, flags);
    }

    /** Compares a result with the JDK's, if there is one. */
    private static String compare(byte[] result, byte[] expected, String what) throws Verdict {
        require(expected == null || Arrays.equals(result, expected), "the JDK computes another " + what);
        return expected == null ? SELF_CONSISTENT : MATCHES_JDK;
    }

    /** Returns a copy of data whose last byte is changed. */
    private static byte[] changed(byte[] data) {
        byte[] changed = data.clone();
        changed[changed.length - 1] ^= 1;
        return changed;
    }

    String digest() throws Exception {
        byte[] digest = session.digest(mechanism, parameter, MESSAGE);
        require(Arrays.equals(session.digest(mechanism, parameter, new ByteArrayInputStream(MESSAGE)), digest),
            "the digest of a stream is another one");
        return compare(digest, jdk(true, name -> MessageDigest.getInstance(name).digest(MESSAGE)), "digest");
    }

    String mac() throws Exception {
        byte[] mac = session.sign(mechanism, parameter, key.object, MESSAGE);
        verify(mac);
        return compare(mac, jdk(key.value != null, name -> {
            Mac jdk = Mac.getInstance(name);
            jdk.init(jdkSecretKey());
            return Arrays.copyOf(jdk.doFinal(MESSAGE), parameter instanceof Integer ? (Integer) parameter
                : jdk.getMacLength());
        }), "MAC");
    }

    String signature() throws Exception {
        byte[] data = operation.input.of(MESSAGE, key);
        try {
            return verified(session.sign(mechanism, parameter, key.object, data));
        } catch (PKCS11Exception e) {
            if (mechanism != CKM_EDDSA) {
                throw e;
            }
            byte[] signature = new byte[64]; // NSS signs into an array of exactly this length only
            session.signInit(mechanism, parameter, key.object);
            session.sign(data, 0, data.length, signature, 0);
            return verified(signature) + ", in an array of exactly 64 bytes";
        }
    }

    String stream() throws Exception {
        return verified(session.sign(mechanism, parameter, key.object, new ByteArrayInputStream(MESSAGE)));
    }

    /** Lets the JDK verify a signature, and the token where the JDK cannot or where the key pair is the trial's own. */
    private String verified(byte[] signature) throws Exception {
        byte[] data = operation.input.of(MESSAGE, key);
        Boolean byJdk = jdk(key.jdkPublicKey != null, name -> {
            if (name.contains("/")) { // RSA without a hash function
                return Arrays.equals(jdkCipher(name, Cipher.DECRYPT_MODE, key.jdkPublicKey).doFinal(signature), data);
            }
            Signature jdk = Signature.getInstance(name);
            if (operation.jdkParameter != null) {
                jdk.setParameter(operation.jdkParameter);
            }
            jdk.initVerify(key.jdkPublicKey);
            jdk.update(MESSAGE);
            return jdk.verify(signature);
        });
        require(byJdk == null || byJdk, "the JDK does not verify it");
        boolean byToken = (byJdk == null || key.isOwn) && verify(signature);
        if (byJdk == null && !byToken) {
            throw new Verdict(NOT_TRIED, "it signs, but neither the JDK nor the token can verify it");
        }
        return byJdk == null ? SELF_CONSISTENT : MATCHES_JDK;
    }

    /** Lets the token verify a signature or MAC; returns false if it cannot. */
    private boolean verify(byte[] signature) throws Exception {
        if (key.open == null || !isOffered(CKF_VERIFY)) {
            return false;
        }
        try {
            require(session.verify(mechanism, parameter, key.open, operation.input.of(MESSAGE, key), signature),
                "the token does not verify it");
        } catch (PKCS11Exception e) {
            if (e.getCode() == CKR_FUNCTION_NOT_SUPPORTED) {
                return false;
            }
            throw e;
        }
        boolean forOther = false;
        try {
            forOther = session.verify(mechanism, parameter, key.open, operation.input.of(changed(MESSAGE), key),
                signature);
        } catch (PKCS11Exception e) {
            // NSS returns other codes than CKR_SIGNATURE_INVALID.
        }
        require(!forOther, "the token verifies it for other data");
        return true;
    }

    String cipher() throws Exception {
        byte[] data = operation.input.of(MESSAGE, key);
        boolean isAuthenticated = AUTHENTICATED.contains(mechanism);
        byte[] expected = jdk(key.value != null, name -> {
            Cipher jdk = jdkCipher(name, Cipher.ENCRYPT_MODE, jdkSecretKey());
            if (isAuthenticated) {
                jdk.updateAAD(Operations.HEADER);
            }
            return jdk.doFinal(data);
        });
        byte[] encrypted = isOffered(CKF_ENCRYPT) ? session.encrypt(mechanism, parameter, key.object, data) : expected;
        String compared = compare(encrypted, expected, "ciphertext");
        if (encrypted == null || !isOffered(CKF_DECRYPT)) {
            throw new Verdict(NOT_TRIED, "the token offers only half of it");
        }
        decrypt(encrypted, data);
        require(!isAuthenticated || isRejected(changed(encrypted)), "a changed tag is accepted");
        return compared;
    }

    private boolean isRejected(byte[] encrypted) {
        try {
            session.decrypt(mechanism, parameter, key.object, encrypted);
            return false;
        } catch (PKCS11Exception e) {
            return true;
        }
    }

    /** Decrypts what the JDK has encrypted, or the token itself where the JDK cannot. */
    String decryption() throws Exception {
        byte[] data = operation.input.of(SHORT_MESSAGE, key);
        byte[] encrypted = jdk(key.jdkPublicKey != null,
            name -> jdkCipher(name, Cipher.ENCRYPT_MODE, key.jdkPublicKey).doFinal(data));
        if (encrypted == null) {
            return encryption();
        }
        decrypt(encrypted, data);
        return MATCHES_JDK;
    }

    String encryption() throws Exception {
        if (key.open == null) {
            throw new Verdict(NOT_TRIED, "the public key is not on the token");
        }
        byte[] data = operation.input.of(SHORT_MESSAGE, key);
        byte[] encrypted = session.encrypt(mechanism, parameter, key.open, data);
        require(key.jdkPublicKey == null || encrypted.length == key.modulusBytes(),
            "the result has " + encrypted.length + " bytes");
        decrypt(encrypted, data);
        return SELF_CONSISTENT;
    }

    private void decrypt(byte[] encrypted, byte[] data) throws Verdict {
        require(Arrays.equals(session.decrypt(mechanism, parameter, key.object, encrypted), data),
            "it is decrypted to something else");
    }

    String secretKey() throws Verdict {
        PKCS11Attributes made = token.create(place -> session.generateKey(mechanism, parameter,
            Template.of(operation.kind.template).and(place))).readAttributes(CKA_CLASS, CKA_KEY_TYPE);
        require(made.get(CKA_CLASS).equals(CKO_SECRET_KEY) && made.get(CKA_KEY_TYPE).equals(operation.kind.type),
            "it is " + made);
        return "has the requested type";
    }

    String keyPair() {
        return key.jdkPublicKey != null ? "the JDK accepts the public key" : "generated";
    }

    /** Wraps and unwraps keys: with a mechanism that pads also one whose length is not a multiple of 8 bytes. */
    String wrap() throws Exception {
        List<String> matching = new ArrayList<>(operation.algorithms);
        boolean differs = false;
        for (int length : PADDED.contains(mechanism) ? new int[] {32, 20} : new int[] {32}) {
            byte[] value = Arrays.copyOf(KeyKind.AES.newValue(), length);
            int type = length == 32 ? CKK_AES : CKK_GENERIC_SECRET;
            NativePKCS11Object wrappable = token.create(place -> session.createObject(
                READABLE.and(CKA_KEY_TYPE, type, CKA_VALUE, value).and(place)));
            byte[] wrapped = session.wrapKey(mechanism, parameter, key.open, wrappable);
            if (isOffered(CKF_UNWRAP)) {
                byte[] unwrapped = unwrap(type, wrapped);
                require(Arrays.equals(unwrapped, value), "a key of " + length + " bytes is unwrapped to another one of "
                    + unwrapped.length + " bytes");
            }
            for (String algorithm : operation.algorithms) {
                Boolean same = jdk(algorithm, name -> isWrappedByJdk(name, type, value, wrapped));
                differs |= Boolean.FALSE.equals(same);
                matching.removeAll(Boolean.TRUE.equals(same) ? List.of() : List.of(algorithm));
            }
        }
        boolean oneWay = operation.algorithms.size() == 1;
        require(!matching.isEmpty() || !differs || !oneWay, "the JDK wraps to something else");
        return matching.isEmpty() ? SELF_CONSISTENT : MATCHES_JDK + (oneWay ? "" : "'s " + matching.get(0));
    }

    /** Returns the value of an unwrapped key. Some tokens reject a template that permits reading it. */
    private byte[] unwrap(int type, byte[] wrapped) {
        try {
            return unwrap(READABLE.and(CKA_KEY_TYPE, type), wrapped);
        } catch (PKCS11Exception e) {
            return unwrap(SECRET.and(CKA_KEY_TYPE, type), wrapped);
        }
    }

    private byte[] unwrap(Template template, byte[] wrapped) {
        return token.create(place -> session.unwrapKey(mechanism, parameter, key.object, wrapped, template.and(place)))
            .getByteArrayAttributeValue(CKA_VALUE);
    }

    /** Lets the JDK unwrap with a secret key, or wrap with a public one; returns null if it knows no key. */
    private Boolean isWrappedByJdk(String algorithm, int type, byte[] value, byte[] wrapped)
        throws GeneralSecurityException {
        try {
            return key.value != null ? Arrays.equals(jdkCipher(algorithm, Cipher.UNWRAP_MODE, jdkSecretKey())
                .unwrap(wrapped, "AES", Cipher.SECRET_KEY).getEncoded(), value)
                : key.jdkPublicKey == null || !isOffered(CKF_UNWRAP) ? null
                : (Boolean) Arrays.equals(unwrap(type, jdkCipher(algorithm, Cipher.WRAP_MODE, key.jdkPublicKey)
                    .wrap(new SecretKeySpec(value, "AES"))), value);
        } catch (InvalidKeyException e) {
            return false;
        }
    }

    /** Agrees on a secret with a new key pair of the JDK. */
    String agreement() throws Exception {
        PublicKey own = key.jdkPublicKey;
        if (own == null) {
            throw new Verdict(NOT_TRIED, "the public key is not known");
        }
        KeyPairGenerator generator = KeyPairGenerator.getInstance(own.getAlgorithm());
        generator.initialize(own instanceof ECPublicKey ? ((ECPublicKey) own).getParams()
            : own instanceof XECPublicKey ? ((XECPublicKey) own).getParams() : ((DHPublicKey) own).getParams());
        KeyPair other = generator.generateKeyPair();
        KeyAgreement jdk = KeyAgreement.getInstance(own instanceof ECPublicKey ? "ECDH" : own.getAlgorithm());
        jdk.init(other.getPrivate());
        jdk.doPhase(own, true);
        byte[] expected = jdk.generateSecret();
        // In X.509 the point is the end: 4 and two coordinates, or one coordinate alone.
        byte[] encoded = other.getPublic().getEncoded();
        int length = own instanceof ECPublicKey ? 1 + 2 * expected.length : expected.length;
        Object with = own instanceof DHPublicKey ? ((DHPublicKey) other.getPublic()).getY()
            : new CK_ECDH1_DERIVE_PARAMS(CKD_NULL, null,
                Arrays.copyOfRange(encoded, encoded.length - length, encoded.length));
        return compare(derive(with, expected.length), expected, "secret");
    }

    String derivation() throws Exception {
        byte[] expected = key.value == null || operation.derivation == null ? null
            : jdk("", unused -> operation.derivation.of(key.value));
        int length = expected == null ? 16 : expected.length;
        byte[] derived = derive(parameter, length);
        require(expected != null || Arrays.equals(derive(parameter, length), derived), "it derives another key again");
        return compare(derived, expected, "key");
    }

    private byte[] derive(Object with, int length) {
        return token.create(place -> session.deriveKey(mechanism, with, key.object, secret(length).and(place)))
            .getByteArrayAttributeValue(CKA_VALUE);
    }

    private static Template secret(int length) {
        return READABLE.and(CKA_KEY_TYPE, CKK_GENERIC_SECRET, CKA_VALUE_LEN, length);
    }

    /** Encapsulates a key, and decapsulates it with the private key. */
    String encapsulation() throws Verdict {
        byte[][] ciphertext = new byte[1][];
        NativePKCS11Object made = token.create(place -> {
            NativePKCS11Encapsulation both = session.encapsulateKey(mechanism, parameter, key.open,
                secret(32).and(place));
            ciphertext[0] = both.getCiphertext();
            return both.getKey();
        });
        NativePKCS11Object same = token.create(place -> session.decapsulateKey(mechanism, parameter, key.object,
            ciphertext[0], secret(32).and(place)));
        require(Arrays.equals(same.getByteArrayAttributeValue(CKA_VALUE), made.getByteArrayAttributeValue(CKA_VALUE)),
            "another key is decapsulated");
        return SELF_CONSISTENT;
    }

    @Override
    public void close() {
        token.destroy(each -> each.getSession().equals(session));
        session.close();
    }
}
