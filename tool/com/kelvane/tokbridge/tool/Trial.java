package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.tool.Operations.MESSAGE;
import static com.kelvane.tokbridge.tool.Report.require;

import com.kelvane.pkcs11.CK_ECDH1_DERIVE_PARAMS;
import com.kelvane.pkcs11.PKCS11Attributes;
import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.PKCS11MechanismInfo;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.io.ByteArrayInputStream;
import java.io.IOException;
import java.security.GeneralSecurityException;
import java.security.KeyPair;
import java.security.KeyPairGenerator;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.security.PublicKey;
import java.security.Signature;
import java.security.interfaces.ECPublicKey;
import java.util.Arrays;
import java.util.function.Predicate;
import javax.crypto.Cipher;
import javax.crypto.KeyAgreement;
import javax.crypto.Mac;
import javax.crypto.NoSuchPaddingException;
import javax.crypto.SecretKey;
import javax.crypto.interfaces.DHPublicKey;
import javax.crypto.spec.SecretKeySpec;

/**
 * Tries one operation with one key: the result is compared with the JDK's, where the JDK has such a thing and knows
 * the key, and with what the token makes of it otherwise. Throws what the token refuses, and {@link Report.Wrong}.
 */
final class Trial {
    private static final String AS_IN_JDK = "as the JDK";
    private static final String AS_ITSELF = "with itself";

    /** As much as every RSA key can encrypt. */
    private static final byte[] SECRET = Arrays.copyOf(MESSAGE, 16);

    /** A secret key whose value can be read. */
    private static final Template READABLE = Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_SENSITIVE, false,
        CKA_EXTRACTABLE, true);

    /** Bits of the prime of a domain, which takes the longer the larger it is. */
    private static final int SMALLEST_PRIME = 512;

    private final Operation operation;
    private final Key key;
    private final Token token;
    private final NativePKCS11Session session;
    private final int mechanism;
    private final Object parameter;

    private Trial(Operation operation, Key key, Token token, NativePKCS11Session session) {
        this.operation = operation;
        this.key = key;
        this.token = token;
        this.session = session;
        mechanism = operation.mechanism;
        parameter = operation.parameter == Operations.THE_KEY ? key.object : operation.parameter;
    }

    /** Tries an operation, and says what its result was compared with. */
    static String of(Operation operation, Key key, Token token, NativePKCS11Session session) throws Exception {
        Trial trial = new Trial(operation, key, token, session);
        switch (operation.use) {
        case DIGEST: return trial.digest();
        case MAC: return trial.mac();
        case CIPHER: return trial.cipher();
        case SIGNATURE: return trial.signature();
        case DECRYPTION: return trial.decryption();
        case ENCRYPTION: return trial.encryption();
        case WRAP: return trial.wrap();
        case AGREEMENT: return trial.agreement();
        case DERIVATION: return trial.derivation();
        case KEY: return trial.newKey();
        case PAIR: return trial.newPair();
        default: return trial.newDomain();
        }
    }

    /** Asks the JDK for something; null where it has no such thing. */
    private interface Asked<T> {
        T get() throws GeneralSecurityException;
    }

    /** The same for what the table has a name for. */
    private <T> T byName(boolean keyIsKnown, Asked<T> asked) throws GeneralSecurityException {
        return inJdk(keyIsKnown && operation.inJdk != null, asked);
    }

    private static <T> T inJdk(boolean keyIsKnown, Asked<T> asked) throws GeneralSecurityException {
        try {
            return keyIsKnown ? asked.get() : null;
        } catch (NoSuchAlgorithmException | NoSuchPaddingException e) {
            return null;
        }
    }

    private boolean can(Predicate<PKCS11MechanismInfo> use) {
        return token.offers(mechanism, use);
    }

    private SecretKey secretInJdk() {
        return new SecretKeySpec(key.value, operation.kind.inJdk);
    }

    private static byte[] changed(byte[] data) {
        byte[] other = data.clone();
        other[other.length - 1] ^= 1;
        return other;
    }

    private String digest() throws Exception {
        byte[] digest = session.digest(mechanism, parameter, MESSAGE);
        byte[] expected = byName(true, () -> MessageDigest.getInstance(operation.inJdk).digest(MESSAGE));
        require(expected == null || Arrays.equals(digest, expected), "the JDK computes another digest");
        byte[] inParts = session.digest(mechanism, parameter, new ByteArrayInputStream(MESSAGE));
        require(Arrays.equals(inParts, digest), "in parts there is another digest");
        return expected == null ? AS_ITSELF : AS_IN_JDK;
    }

    private String mac() throws Exception {
        byte[] mac = session.sign(mechanism, parameter, key.object, MESSAGE);
        byte[] expected = byName(key.value != null, () -> {
            Mac jdk = Mac.getInstance(operation.inJdk);
            jdk.init(secretInJdk());
            return Arrays.copyOf(jdk.doFinal(MESSAGE), parameter instanceof Integer ? (Integer) parameter
                : jdk.getMacLength());
        });
        require(expected == null || Arrays.equals(mac, expected), "the JDK computes another MAC");
        verify(MESSAGE, changed(MESSAGE), mac);
        return expected == null ? AS_ITSELF : AS_IN_JDK;
    }

    /** Has the token verify, if it can; whether it has. */
    private boolean verify(byte[] data, byte[] other, byte[] signature) throws Report.Wrong {
        if (key.open == null || !can(PKCS11MechanismInfo::canVerify)) {
            return false;
        }
        boolean verified;
        try {
            verified = session.verify(mechanism, parameter, key.open, data, signature);
        } catch (PKCS11Exception e) {
            if (e.getCode() == CKR_FUNCTION_NOT_SUPPORTED) {
                return false;
            }
            throw e;
        }
        require(verified, "the token does not verify it");
        try {
            verified = session.verify(mechanism, parameter, key.open, other, signature);
        } catch (PKCS11Exception e) {
            verified = false; // NSS's token has other codes than CKR_SIGNATURE_INVALID for this
        }
        require(!verified, "the token verifies it for other data");
        return true;
    }

    private Cipher cipherInJdk(int mode, java.security.Key with) throws GeneralSecurityException {
        Cipher jdk = Cipher.getInstance(operation.inJdk);
        jdk.init(mode, with, operation.parameterInJdk);
        return jdk;
    }

    private String cipher() throws Exception {
        byte[] data = operation.input.of(MESSAGE, key);
        byte[] expected = byName(key.value != null, () -> {
            Cipher jdk = cipherInJdk(Cipher.ENCRYPT_MODE, secretInJdk());
            if (operation.authenticated) {
                jdk.updateAAD(Operations.HEADER);
            }
            return jdk.doFinal(data);
        });
        byte[] hidden = can(PKCS11MechanismInfo::canEncrypt)
            ? session.encrypt(mechanism, parameter, key.object, data) : expected;
        require(expected == null || Arrays.equals(hidden, expected), "the JDK encrypts to something else");
        if (hidden == null || !can(PKCS11MechanismInfo::canDecrypt)) {
            throw new Report.NotTried("the token does one half of it only");
        }
        require(Arrays.equals(session.decrypt(mechanism, parameter, key.object, hidden), data),
            "decrypted, it is something else");
        if (operation.authenticated) {
            try {
                session.decrypt(mechanism, parameter, key.object, changed(hidden));
                throw new Report.Wrong("a changed tag is taken for the right one");
            } catch (PKCS11Exception e) {
                require(e.hasCode(), e.getMessage());
            }
        }
        return expected == null ? AS_ITSELF : AS_IN_JDK;
    }

    private String signature() throws Exception {
        byte[] data = operation.input.of(MESSAGE, key);
        byte[] signature = session.sign(mechanism, parameter, key.object, data);
        Signature jdk = byName(key.inJdk != null, () -> Signature.getInstance(operation.inJdk));
        boolean verified = (jdk == null || key.isMade)
            && verify(data, operation.input.of(changed(MESSAGE), key), signature);
        if (jdk == null) {
            if (!verified) {
                throw new Report.NotTried("it signs, but nobody here can verify that");
            }
            return AS_ITSELF;
        }
        if (operation.parameterInJdk != null) {
            jdk.setParameter(operation.parameterInJdk);
        }
        jdk.initVerify(key.inJdk);
        jdk.update(MESSAGE);
        require(jdk.verify(signature), "the JDK does not verify it");
        return AS_IN_JDK;
    }

    /** Decrypts what the JDK has encrypted, or the token itself where the JDK cannot. */
    private String decryption() throws Exception {
        byte[] data = operation.input.of(SECRET, key);
        byte[] hidden = byName(key.inJdk != null, () -> cipherInJdk(Cipher.ENCRYPT_MODE, key.inJdk).doFinal(data));
        if (hidden == null) {
            return encryption();
        }
        require(Arrays.equals(session.decrypt(mechanism, parameter, key.object, hidden), data),
            "what the JDK has encrypted is decrypted to something else");
        return AS_IN_JDK;
    }

    private String encryption() throws Exception {
        if (key.open == null) {
            throw new Report.NotTried("the public key is not there");
        }
        byte[] data = operation.input.of(SECRET, key);
        byte[] hidden = session.encrypt(mechanism, parameter, key.open, data);
        require(key.inJdk == null || hidden.length == key.modulusBytes(), "the result has " + hidden.length + " bytes");
        require(Arrays.equals(session.decrypt(mechanism, parameter, key.object, hidden), data),
            "decrypted, it is something else");
        return AS_ITSELF;
    }

    /** Wraps a key and unwraps it again; the JDK does one of both as well, that for which it has the key. */
    private String wrap() throws Exception {
        byte[] value = KeyKind.AES.newValue();
        NativePKCS11Object wrapped = token.make(READABLE.and(CKA_KEY_TYPE, CKK_AES, CKA_VALUE, value),
            session::createObject);
        byte[] hidden = session.wrapKey(mechanism, parameter, key.open, wrapped);
        Object byJdk = byName(key.value != null, () -> cipherInJdk(Cipher.UNWRAP_MODE, secretInJdk())
            .unwrap(hidden, "AES", Cipher.SECRET_KEY).getEncoded());
        require(byJdk == null || Arrays.equals((byte[]) byJdk, value), "the JDK unwraps another key");
        if (can(PKCS11MechanismInfo::canUnwrap)) {
            require(isValue(unwrapped(hidden), value), "unwrapped, it is another key");
            byte[] fromJdk = byName(key.inJdk != null, () -> cipherInJdk(Cipher.WRAP_MODE, key.inJdk)
                .wrap(new SecretKeySpec(value, "AES")));
            require(fromJdk == null || isValue(unwrapped(fromJdk), value),
                "a key that the JDK has wrapped is another one");
            byJdk = fromJdk == null ? byJdk : fromJdk;
        }
        return byJdk == null ? AS_ITSELF : AS_IN_JDK;
    }

    /** Unwraps a key whose value can be read; some tokens take no word about that in a template. */
    private NativePKCS11Object unwrapped(byte[] hidden) {
        Template plain = Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_KEY_TYPE, CKK_AES);
        try {
            return unwrapped(hidden, plain.and(CKA_SENSITIVE, false, CKA_EXTRACTABLE, true));
        } catch (PKCS11Exception e) {
            return unwrapped(hidden, plain);
        }
    }

    private NativePKCS11Object unwrapped(byte[] hidden, Template template) {
        return token.make(template, each -> session.unwrapKey(mechanism, parameter, key.object, hidden, each));
    }

    private static boolean isValue(NativePKCS11Object object, byte[] value) {
        return MessageDigest.isEqual(object.getByteArrayAttributeValue(CKA_VALUE), value);
    }

    private String agreement() throws Exception {
        PublicKey own = key.inJdk;
        if (own == null) {
            throw new Report.NotTried("nothing tells the public key");
        }
        boolean curve = own instanceof ECPublicKey;
        KeyPairGenerator generator = KeyPairGenerator.getInstance(own.getAlgorithm());
        generator.initialize(curve ? ((ECPublicKey) own).getParams() : ((DHPublicKey) own).getParams());
        KeyPair other = generator.generateKeyPair();
        KeyAgreement jdk = KeyAgreement.getInstance(operation.inJdk);
        jdk.init(other.getPrivate());
        jdk.doPhase(own, true);
        byte[] expected = jdk.generateSecret();
        // In the JDK's encoding the point is the end: 4, and two coordinates as long as the secret.
        byte[] encoded = other.getPublic().getEncoded();
        Object of = curve ? new CK_ECDH1_DERIVE_PARAMS(CKD_NULL, null, Arrays.copyOfRange(encoded,
            encoded.length - 1 - 2 * expected.length, encoded.length)) : ((DHPublicKey) other.getPublic()).getY();
        require(isValue(derived(of, expected.length), expected), "the JDK agrees on another secret");
        return AS_IN_JDK;
    }

    private NativePKCS11Object derived(Object of, int length) {
        return token.make(READABLE.and(CKA_KEY_TYPE, CKK_GENERIC_SECRET, CKA_VALUE_LEN, length),
            template -> session.deriveKey(mechanism, of, key.object, template));
    }

    private String derivation() throws Exception {
        byte[] expected = inJdk(key.value != null && operation.derived != null, () -> operation.derived.of(key.value));
        int length = expected == null ? 16 : expected.length;
        NativePKCS11Object secret = derived(parameter, length);
        require(isValue(secret, expected != null ? expected
            : derived(parameter, length).getByteArrayAttributeValue(CKA_VALUE)), "the key derived is another one");
        return expected == null ? AS_ITSELF : AS_IN_JDK;
    }

    private String newKey() throws Exception {
        NativePKCS11Object made = token.make(Template.of(operation.kind.generated.get()),
            template -> session.generateKey(mechanism, parameter, template));
        PKCS11Attributes about = made.readAttributes(CKA_CLASS, CKA_KEY_TYPE);
        require(Integer.valueOf(CKO_SECRET_KEY).equals(about.getInteger(CKA_CLASS))
            && Integer.valueOf(operation.kind.type).equals(about.getInteger(CKA_KEY_TYPE)), "it is " + about);
        return "is of the type asked for";
    }

    private String newPair() {
        return key.inJdk != null ? "the JDK takes the public key" : "made";
    }

    private String newDomain() throws Exception {
        int bits = Math.max(SMALLEST_PRIME, token.smallestKey(mechanism));
        NativePKCS11Object made = token.make(Template.of(CKA_PRIME_BITS, bits),
            template -> session.generateKey(mechanism, parameter, template));
        require(made.getBigIntegerAttributeValue(CKA_PRIME).bitLength() == bits, "the prime is of another size");
        return "the prime has " + bits + " bits";
    }
}
