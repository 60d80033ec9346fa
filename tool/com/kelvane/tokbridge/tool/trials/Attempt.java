package com.kelvane.tokbridge.tool.trials;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.tool.trials.Operations.MESSAGE;
import static com.kelvane.tokbridge.tool.trials.Verdict.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import com.kelvane.tokbridge.tool.token.Token;
import java.io.ByteArrayInputStream;
import java.nio.charset.StandardCharsets;
import java.security.*;
import java.security.interfaces.*;
import java.time.*;
import java.util.*;
import java.util.concurrent.Callable;
import java.util.function.*;
import javax.crypto.*;
import javax.crypto.interfaces.DHPublicKey;

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

    /** The mechanisms that authenticate, and those that wrap a key of any length. */
    private static final Set<Integer> AUTHENTICATED = Set.of(CKM_AES_GCM, CKM_AES_CCM, CKM_CHACHA20_POLY1305),
        PADDED = Set.of(CKM_AES_KEY_WRAP_PAD, CKM_AES_KEY_WRAP_KWP);
    private static final Template SECRET = Template.of(CKA_CLASS, CKO_SECRET_KEY), READABLE = SECRET.and(
        CKA_SENSITIVE, false, CKA_EXTRACTABLE, true);

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

    /** Returns what the JDK computes; null if it has no counterpart or lacks the key or the algorithm. */
    private byte[] jdk(byte[] data) throws Exception {
        return operation.computation == null || key != null && key.jdkKey == null ? null
            : ifThere(() -> operation.computation.of(key == null ? null : key.jdkKey, data));
    }

    private byte[] input(byte[] message) throws Exception {
        return operation.input.of(key.jdkKey, message);
    }

    /** Returns the result of the JDK; null if it lacks the algorithm. */
    private static <T> T ifThere(Callable<T> computation) throws Exception {
        try {
            return computation.call();
        } catch (NoSuchAlgorithmException | NoSuchPaddingException e) {
            return null;
        }
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

    /** Returns whether the token accepts a signature, MAC or tag, which it rejects with various codes. */
    private static boolean isAccepted(BooleanSupplier call) {
        try {
            return call.getAsBoolean();
        } catch (PKCS11Exception e) {
            return false;
        }
    }

    String digest() throws Exception {
        byte[] digest = session.digest(mechanism, parameter, MESSAGE);
        require(Arrays.equals(session.digest(mechanism, parameter, new ByteArrayInputStream(MESSAGE)), digest),
            "the digest of a stream is another one");
        return compare(digest, jdk(MESSAGE), "digest");
    }

    String mac() throws Exception {
        byte[] mac = session.sign(mechanism, parameter, key.object, MESSAGE), expected = jdk(MESSAGE);
        verify(mac);
        return compare(mac, expected == null || !(parameter instanceof Integer) ? expected
            : Arrays.copyOf(expected, (Integer) parameter), "MAC");
    }

    String signature() throws Exception {
        return verified(session.sign(mechanism, parameter, key.object, input(MESSAGE)));
    }

    String stream() throws Exception {
        return verified(session.sign(mechanism, parameter, key.object, new ByteArrayInputStream(MESSAGE)));
    }

    /** Lets the JDK verify a signature, and the token where the JDK cannot or where the key pair is the trial's own. */
    private String verified(byte[] signature) throws Exception {
        Boolean byJdk = operation.verification == null || key.jdkKey == null ? null
            : ifThere(() -> operation.verification.of((PublicKey) key.jdkKey, MESSAGE, signature));
        require(byJdk == null || byJdk, "the JDK does not verify it");
        boolean byToken = (byJdk == null || key.isOwn()) && verify(signature);
        requireToTry(byJdk != null || byToken, "it signs, but neither the JDK nor the token can verify it");
        return byJdk == null ? SELF_CONSISTENT : MATCHES_JDK;
    }

    /** Lets the token verify a signature or MAC; returns false if it cannot. */
    private boolean verify(byte[] signature) throws Exception {
        if (key.open == null || !isOffered(CKF_VERIFY)) {
            return false;
        }
        byte[] data = input(MESSAGE), other = input(changed(MESSAGE));
        try {
            require(session.verify(mechanism, parameter, key.open, data, signature), "the token does not verify it");
        } catch (PKCS11Exception e) {
            if (e.getCode() == CKR_FUNCTION_NOT_SUPPORTED) {
                return false;
            }
            throw e;
        }
        require(!isAccepted(() -> session.verify(mechanism, parameter, key.open, other, signature)),
            "the token verifies it for other data");
        return true;
    }

    String cipher() throws Exception {
        byte[] data = input(MESSAGE), expected = jdk(data);
        byte[] encrypted = isOffered(CKF_ENCRYPT) ? session.encrypt(mechanism, parameter, key.object, data) : expected;
        String compared = compare(encrypted, expected, "ciphertext");
        requireToTry(encrypted != null && isOffered(CKF_DECRYPT), "the token offers only half of it");
        decrypt(encrypted, data);
        require(!AUTHENTICATED.contains(mechanism) || !isAccepted(() -> session.decrypt(mechanism, parameter,
            key.object, changed(encrypted)) != null), "a changed tag is accepted");
        return compared;
    }

    /** Decrypts what the JDK has encrypted, or the token itself where the JDK cannot. */
    String decryption() throws Exception {
        byte[] data = input(SHORT_MESSAGE), encrypted = jdk(data);
        if (encrypted == null) {
            return encryption();
        }
        decrypt(encrypted, data);
        return MATCHES_JDK;
    }

    String encryption() throws Exception {
        requireToTry(key.open != null, "the public key is not on the token");
        byte[] data = input(SHORT_MESSAGE);
        byte[] encrypted = session.encrypt(mechanism, parameter, key.open, data);
        require(key.jdkKey == null || encrypted.length == Jdk.modulusBytes(key.jdkKey),
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
        return key.jdkKey != null ? "the JDK accepts the public key" : "generated";
    }

    /**
     * Wraps and unwraps a key, with a mechanism that pads also one whose length is not a multiple of 8 bytes. With an
     * RSA key the token unwraps what the JDK has wrapped; other mechanisms wrap a key always in the same way.
     */
    String wrap() throws Exception {
        boolean unwraps = isOffered(CKF_UNWRAP), byJdk = false;
        for (int length : PADDED.contains(mechanism) ? new int[] {32, 20} : new int[] {32}) {
            byte[] value = Arrays.copyOf(KeyKind.AES.newValue(), length);
            int type = length == 32 ? CKK_AES : CKK_GENERIC_SECRET;
            NativePKCS11Object wrappable = token.create(place -> session.createObject(
                READABLE.and(CKA_KEY_TYPE, type, CKA_VALUE, value).and(place)));
            byte[] wrapped = session.wrapKey(mechanism, parameter, key.open, wrappable);
            byte[] unwrapped = unwraps ? unwrap(type, wrapped) : value;
            require(Arrays.equals(unwrapped, value), "a key of " + length + " bytes is unwrapped to another one of "
                + unwrapped.length + " bytes");
            byte[] expected = unwraps || !operation.kind.isPair() ? jdk(value) : null;
            byJdk |= expected != null;
            require(expected == null || (operation.kind.isPair() ? Arrays.equals(unwrap(type, expected), value)
                : Arrays.equals(wrapped, expected)), "the JDK wraps to something else");
        }
        return byJdk ? MATCHES_JDK : SELF_CONSISTENT;
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
        return value(place -> session.unwrapKey(mechanism, parameter, key.object, wrapped, template.and(place)));
    }

    /** Creates a secret key and returns its value. */
    private byte[] value(Function<Object[], NativePKCS11Object> creation) {
        return token.create(creation).getByteArrayAttributeValue(CKA_VALUE);
    }

    /** Agrees on a secret with a new key pair of the JDK. */
    String agreement() throws Exception {
        PublicKey own = (PublicKey) key.jdkKey;
        requireToTry(own != null, "the public key is not known");
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
        byte[] expected = jdk(MESSAGE);
        int length = expected == null ? 16 : expected.length;
        byte[] derived = derive(parameter, length);
        require(expected != null || Arrays.equals(derive(parameter, length), derived), "it derives another key again");
        return compare(derived, expected, "key");
    }

    private byte[] derive(Object with, int length) {
        return value(place -> session.deriveKey(mechanism, with, key.object, secret(length).and(place)));
    }

    private static Template secret(int length) {
        return READABLE.and(CKA_KEY_TYPE, CKK_GENERIC_SECRET, CKA_VALUE_LEN, length);
    }

    /** Encapsulates a key, and decapsulates it with the private key. */
    String encapsulation() throws Verdict {
        byte[][] ciphertext = new byte[1][];
        byte[] encapsulated = value(place -> {
            NativePKCS11Encapsulation both = session.encapsulateKey(mechanism, parameter, key.open,
                secret(32).and(place));
            ciphertext[0] = both.getCiphertext();
            return both.getKey();
        });
        require(Arrays.equals(value(place -> session.decapsulateKey(mechanism, parameter, key.object, ciphertext[0],
            secret(32).and(place))), encapsulated), "another key is decapsulated");
        return SELF_CONSISTENT;
    }

    /** Creates, finds, reads, changes, copies and destroys an object that stays on the token. */
    String dataObject() throws Verdict {
        Template byLabel = Template.of(CKA_CLASS, CKO_DATA, CKA_LABEL, token.label);
        NativePKCS11Object data = create(byLabel, Template.of(CKA_CLASS, CKO_DATA, CKA_APPLICATION, "tokbridge",
            CKA_VALUE, MESSAGE));
        String changed = "changed, " + token.label;
        synchronized (token) { // a module may write an object again that an interrupt destroys meanwhile
            data.setAttributeValue(CKA_LABEL, changed);
        }
        require(session.findObjects(byLabel).isEmpty(), "it is still found by its former label");
        String copied = "copied";
        try {
            NativePKCS11Object copy = data.copy(Template.of(CKA_LABEL, "copied, " + token.label, CKA_TOKEN, false));
            require(Arrays.equals(copy.getByteArrayAttributeValue(CKA_VALUE), MESSAGE), "its copy differs");
            copy.destroy();
        } catch (PKCS11Exception e) {
            require(e.getCode() == CKR_FUNCTION_NOT_SUPPORTED, "copying raises " + e.getMessage());
            copied = "not copied";
        }
        require(data.getStringAttributeValue(CKA_LABEL).equals(changed), "copying changes it");
        token.destroy(data::equals);
        require(session.findObjects(Template.of(CKA_LABEL, changed)).isEmpty(), "it is found after its destruction");
        return "created, found, changed, " + copied + ", destroyed";
    }

    String storedKey() throws Verdict {
        LocalDate day = LocalDate.of(2024, 2, 29);
        byte[] id = token.label.substring(token.label.length() - 16).getBytes(StandardCharsets.US_ASCII);
        // Public: SoftHSM2 returns CKR_GENERAL_ERROR for the dates of private keys.
        NativePKCS11Object key = create(Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_ID, id),
            Template.of(CKA_CLASS, CKO_SECRET_KEY, CKA_KEY_TYPE, CKK_AES, CKA_PRIVATE, false, CKA_ID, id,
                CKA_SENSITIVE, true, CKA_EXTRACTABLE, false, CKA_ENCRYPT, true),
            CKA_START_DATE, Date.from(day.atStartOfDay(ZoneOffset.UTC).toInstant()), CKA_VALUE, new byte[32]);
        Date start = key.getDateAttributeValue(CKA_START_DATE); // written in UTC, read in local time
        require(day.equals(start.toInstant().atZone(ZoneId.systemDefault()).toLocalDate()),
            "CKA_START_DATE is read as " + start);
        require(key.readAttributes(CKA_VALUE).isSensitive(CKA_VALUE), "its value can be read");
        return "keeps its id and date, and its value secret";
    }

    /** Creates an object on the token, finds it, and reads the attributes of its template, but not those added. */
    private NativePKCS11Object create(Template identity, Template template, Object... added) throws Verdict {
        NativePKCS11Object object;
        try {
            object = token.create(true, place -> session.createObject(template.and(added).and(place)));
        } catch (PKCS11Exception e) { // nothing else reveals which objects a token imports
            throw new Verdict(e);
        }
        require(session.findObjects(identity).equals(List.of(object)), "it is not found by " + identity);
        int[] types = template.getTypes();
        Object[] read = session.getAttributeValues(object, types, types.length);
        for (int i = 0; i < types.length; i++) {
            require(Objects.deepEquals(read[i], template.getValues()[i]), nameOf("CKA_", types[i])
                + " is read as another value");
        }
        return object;
    }

    @Override
    public void close() {
        token.destroy(each -> each.getSession().equals(session));
        session.close();
    }
}
