package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Attributes;
import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11KeyPair;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.tokbridge.tool.Operation.Use;
import java.math.BigInteger;
import java.nio.ByteBuffer;
import java.security.GeneralSecurityException;
import java.security.KeyFactory;
import java.security.PublicKey;
import java.security.spec.DSAPublicKeySpec;
import java.security.spec.RSAPublicKeySpec;
import java.security.spec.X509EncodedKeySpec;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeSet;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import javax.crypto.spec.DHPublicKeySpec;

/** The keys of a token: those that are found on it, and those that are made to try it. */
final class Keys {
    private final Token token;
    private final Template wanted;

    /** The keys that were made, by kind and use; where none could be made, why. */
    private final Map<List<Object>, Object> made = new HashMap<>();

    /** What narrows the search for keys is in the template. */
    Keys(Token token, Template wanted) {
        this.token = token;
        this.wanted = wanted;
    }

    /** A key that was on the token. */
    final class Found {
        private final PKCS11Attributes about;
        private final int objectClass;
        private final int place;
        private Key key;
        private int logins;

        private Found(int objectClass, int place, NativePKCS11Object object) {
            this.objectClass = objectClass;
            this.place = place;
            about = object.readAttributes(CKA_KEY_TYPE, CKA_LABEL, CKA_ID, CKA_SIGN, CKA_DECRYPT, CKA_UNWRAP,
                CKA_DERIVE, CKA_VERIFY, CKA_ENCRYPT, CKA_WRAP, CKA_MODULUS, CKA_PUBLIC_EXPONENT,
                CKA_ALLOWED_MECHANISMS);
            key = key(object);
        }

        /** What people call it. */
        String name() {
            String label = about.getString(CKA_LABEL);
            byte[] id = about.getBytes(CKA_ID);
            return label != null && !label.isEmpty() ? "\"" + label + "\""
                : id != null && id.length > 0 ? ListObjects.hex(id) : "(no label)";
        }

        /** Whether it may be used for an operation. */
        boolean fits(Operation operation) {
            int[] allowed = (int[]) about.get(CKA_ALLOWED_MECHANISMS);
            return operation.kind != null && operation.use.attribute != 0 && operation.use != Use.ENCRYPTION
                && operation.kind.isPair() == (objectClass == CKO_PRIVATE_KEY)
                && Integer.valueOf(operation.kind.type).equals(about.getInteger(CKA_KEY_TYPE))
                && about.isTrue(operation.use.attribute) && (operation.kind.isPair()
                    || operation.use.publicAttribute == 0 || about.isTrue(operation.use.publicAttribute))
                && (allowed == null || allowed.length == 0
                    || Arrays.stream(allowed).anyMatch(each -> each == operation.mechanism));
        }

        /** The key, found again after so many logins: what a handle means ends with one. */
        Key since(int now) {
            if (logins != now) {
                logins = now;
                key = key(search(objectClass).get(place));
            }
            return key;
        }

        private Key key(NativePKCS11Object object) {
            if (objectClass == CKO_SECRET_KEY) {
                return new Key(name(), object, object, null, null, false);
            }
            NativePKCS11Object open = publicKey();
            return new Key(name(), object, open, null, inJdk(object, open), false);
        }

        /** The public key of the same type and id, or label; null if there is none, or several could be meant. */
        private NativePKCS11Object publicKey() {
            for (int attribute : new int[] {CKA_ID, CKA_LABEL}) {
                List<NativePKCS11Object> found = alike(CKO_PUBLIC_KEY, attribute);
                if (found.size() == 1) {
                    return found.get(0);
                }
            }
            return null;
        }

        private List<NativePKCS11Object> alike(int itsClass, int attribute) {
            Object same = about.get(attribute);
            if (same == null || same.equals("") || same instanceof byte[] && ((byte[]) same).length == 0) {
                return List.of();
            }
            Template template = Template.of(CKA_CLASS, itsClass, attribute, same);
            return token.session().findObjects(itsClass == CKO_CERTIFICATE ? template
                : template.and(CKA_KEY_TYPE, about.getInteger(CKA_KEY_TYPE)));
        }

        /** The public key as the private one tells it, or the public one, or the certificate of the same id. */
        private PublicKey inJdk(NativePKCS11Object object, NativePKCS11Object open) {
            try {
                if (about.has(CKA_MODULUS)) {
                    BigInteger exponent = about.getBigInteger(CKA_PUBLIC_EXPONENT);
                    return KeyFactory.getInstance("RSA").generatePublic(new RSAPublicKeySpec(
                        about.getBigInteger(CKA_MODULUS), exponent != null && exponent.signum() > 0 ? exponent
                            : BigInteger.valueOf(65537)));
                }
                if (open != null) {
                    return toJdk(open);
                }
                List<NativePKCS11Object> certificates = alike(CKO_CERTIFICATE, CKA_ID);
                return certificates.size() == 1 ? certificates.get(0).toCertificate().getPublicKey() : null;
            } catch (GeneralSecurityException | PKCS11Exception e) {
                return null; // the token itself is asked then
            }
        }
    }

    /** The private and secret keys that are on the token; those that are not there without a login are not found. */
    List<Found> found() {
        List<Found> keys = new ArrayList<>();
        for (int objectClass : new int[] {CKO_PRIVATE_KEY, CKO_SECRET_KEY}) {
            List<NativePKCS11Object> objects = search(objectClass);
            for (int i = 0; i < objects.size(); i++) {
                keys.add(new Found(objectClass, i, objects.get(i)));
            }
        }
        return keys;
    }

    /** The objects of a class that are on the token and that the user means. */
    List<NativePKCS11Object> search(int objectClass) {
        for (int i = 0; i < wanted.getTypes().length; i++) {
            if (wanted.getTypes()[i] == CKA_CLASS) {
                return wanted.getValues()[i].equals(objectClass)
                    ? token.session().findObjects(wanted.and(CKA_TOKEN, true)) : List.of();
            }
        }
        return token.session().findObjects(wanted.and(CKA_CLASS, objectClass, CKA_TOKEN, true));
    }

    /** A key of one's own for an operation, made when it is first asked for; else why none could be made. */
    Key made(KeyKind kind, Use use) throws Report.NotTried {
        try {
            return pairOrSecret(kind, use);
        } catch (PKCS11Exception e) {
            throw new Report.NotTried("no key could be made for them (" + Failure.call(e) + ": " + e.getMessage()
                + ")");
        } catch (GeneralSecurityException e) {
            throw new Report.NotTried("no key could be made for them (" + e + ")");
        }
    }

    /**
     * A key for all that its kind is used for, or for one use alone where the token does not have the former.
     *
     * @param use null for any
     */
    Key pairOrSecret(KeyKind kind, Use use) throws GeneralSecurityException {
        List<Set<Use>> choices = new ArrayList<>(List.of(uses(kind)));
        uses(kind).stream().filter(each -> use == null || each == use).forEach(each -> choices.add(Set.of(each)));
        for (Set<Use> uses : choices) {
            Object key = made.get(List.of(kind, uses));
            if (key == null) {
                try {
                    key = kind.isPair() ? makePair(kind, uses) : makeSecret(kind, uses);
                } catch (PKCS11Exception e) {
                    key = e;
                }
                made.put(List.of(kind, uses), key);
            }
            if (key instanceof Key) {
                return (Key) key;
            }
        }
        throw (PKCS11Exception) made.get(List.of(kind, uses(kind)));
    }

    /** What the token offers for a kind of key. */
    private Set<Use> uses(KeyKind kind) {
        return Operations.ALL.stream().filter(each -> each.kind == kind && each.use.attribute != 0
            && token.offers(each.mechanism, each.use.offered)).map(each -> each.use)
            .collect(Collectors.toCollection(TreeSet::new));
    }

    /** The attributes by which a key may be used so: the secret or private one, or the public one. */
    private static Object[] attributes(Set<Use> uses, boolean open) {
        return uses.stream().map(use -> open ? use.publicAttribute : use.attribute).filter(each -> each != 0).distinct()
            .flatMap(attribute -> Stream.of(attribute, true)).toArray();
    }

    /** Forgets those that were made. */
    void forget() {
        made.clear();
    }

    /** A secret key that the JDK knows too; where the token takes none from outside, one that it makes itself. */
    private Key makeSecret(KeyKind kind, Set<Use> uses) throws GeneralSecurityException {
        Template template = Template.of(attributes(uses, false)).and(attributes(uses, true));
        byte[] value = kind.newValue();
        NativePKCS11Object object;
        try {
            object = token.make(template.and(CKA_CLASS, CKO_SECRET_KEY, CKA_KEY_TYPE, kind.type, CKA_VALUE, value),
                token.session()::createObject);
        } catch (PKCS11Exception e) {
            if (!token.offered().contains(kind.generation)) {
                throw e;
            }
            value = null;
            object = token.make(template.and(kind.generated.get()),
                each -> token.session().generateKey(kind.generation, null, each));
        }
        return new Key(kind.name, object, object, value, null, true);
    }

    private Key makePair(KeyKind kind, Set<Use> uses) throws GeneralSecurityException {
        NativePKCS11KeyPair pair = token.makePair(kind.generation, Template.of(kind.generated.get()).and(
            attributes(uses, true)), Template.of(attributes(uses, false)));
        PublicKey inJdk;
        try {
            inJdk = toJdk(pair.getPublic());
        } catch (GeneralSecurityException | PKCS11Exception e) {
            inJdk = null;
        }
        return new Key(kind.name, pair.getPrivate(), pair.getPublic(), null, inJdk, true);
    }

    /** A public key for the JDK: as the library makes one, or one of ML-DSA, DSA or Diffie-Hellman. */
    static PublicKey toJdk(NativePKCS11Object key) throws GeneralSecurityException {
        PKCS11Attributes about = key.readAttributes(CKA_KEY_TYPE, CKA_VALUE, CKA_PRIME, CKA_SUBPRIME, CKA_BASE,
            CKA_PARAMETER_SET);
        if (Integer.valueOf(CKK_ML_DSA).equals(about.getInteger(CKA_KEY_TYPE))) {
            return mlDsa(about.getInteger(CKA_PARAMETER_SET), about.getBytes(CKA_VALUE));
        }
        if (!about.has(CKA_PRIME)) {
            return key.toPublicKey();
        }
        BigInteger value = new BigInteger(1, about.getBytes(CKA_VALUE));
        return about.has(CKA_SUBPRIME)
            ? KeyFactory.getInstance("DSA").generatePublic(new DSAPublicKeySpec(value, about.getBigInteger(CKA_PRIME),
                about.getBigInteger(CKA_SUBPRIME), about.getBigInteger(CKA_BASE)))
            : KeyFactory.getInstance("DH").generatePublic(new DHPublicKeySpec(value, about.getBigInteger(CKA_PRIME),
                about.getBigInteger(CKA_BASE)));
    }

    /** A key of ML-DSA, which the JDK takes as X.509 has it: the parameter set is told by an object identifier. */
    private static PublicKey mlDsa(int parameterSet, byte[] value) throws GeneralSecurityException {
        byte[] head = {0x30, (byte) 0x82, 0, 0, 0x30, 11, 6, 9, 0x60, (byte) 0x86, 0x48, 1, 0x65, 3, 4, 3,
            (byte) (0x10 + parameterSet), 3, (byte) 0x82, 0, 0, 0};
        ByteBuffer encoded = ByteBuffer.allocate(head.length + value.length).put(head).put(value);
        encoded.putShort(2, (short) (encoded.capacity() - 4)).putShort(19, (short) (value.length + 1));
        return KeyFactory.getInstance("ML-DSA").generatePublic(new X509EncodedKeySpec(encoded.array()));
    }
}
