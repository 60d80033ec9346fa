package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Attributes;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import java.io.IOException;
import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.security.AlgorithmParameters;
import java.security.NoSuchAlgorithmException;
import java.security.PrivateKey;
import java.security.PublicKey;
import java.security.interfaces.DSAKey;
import java.security.interfaces.ECKey;
import java.security.interfaces.RSAKey;
import java.security.interfaces.XECKey;
import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.DSAParameterSpec;
import java.security.spec.ECParameterSpec;
import java.security.spec.InvalidParameterSpecException;
import java.security.spec.NamedParameterSpec;
import java.util.Arrays;

/** A private key on a token. The subclasses have the interfaces by which programs see what kind of key it is. */
class TokenPrivateKey extends TokenKey implements PrivateKey {
    private static final long serialVersionUID = 1L;

    /** The attributes that the constructor needs. */
    private static final int[] ATTRIBUTES = {CKA_CLASS, CKA_KEY_TYPE, CKA_TOKEN, CKA_ID, CKA_LABEL, CKA_UNIQUE_ID,
        CKA_MODULUS, CKA_EC_PARAMS, CKA_ALLOWED_MECHANISMS, CKA_ALWAYS_AUTHENTICATE, CKA_PRIME, CKA_SUBPRIME,
        CKA_BASE};

    /** Builds the Java object, as {@link TokenKey#TokenKey} does. */
    TokenPrivateKey(Token token, String algorithm, Connection at, NativePKCS11Object object, PKCS11Attributes read,
        PublicKey publicKey) {
        super(token, algorithm, at, object, read, publicKey);
    }

    /** Builds the Java object of the class for the key's type and parameters, as far as the JDK knows them. */
    static TokenPrivateKey of(Token token, Connection at, NativePKCS11Object object, PublicKey publicKey) {
        PKCS11Attributes read = object.readAttributes(ATTRIBUTES);
        int type = read.getInteger(CKA_KEY_TYPE);
        if (type == CKK_RSA && read.getBigInteger(CKA_MODULUS) != null) {
            return new Rsa(token, at, object, read);
        }
        if (type == CKK_DSA && read.has(CKA_PRIME)) {
            return new Dsa(token, at, object, read, publicKey);
        }
        byte[] curve = read.getBytes(CKA_EC_PARAMS);
        if (curve != null && Curve.of(curve) != null) {
            Curve named = Curve.of(curve);
            return named.signs() ? new EdwardsPrivateKey(token, at, object, read, publicKey, named.parameters)
                : new Montgomery(token, at, object, read, publicKey, named.parameters);
        }
        ECParameterSpec parameters = type == CKK_EC && curve != null ? weierstrass(curve) : null;
        return parameters != null ? new Ec(token, at, object, read, publicKey, parameters)
            : new TokenPrivateKey(token, KeyKind.algorithm(type), at, object, read, publicKey);
    }

    /** Returns a curve's parameters; null if the JDK does not know it. */
    private static ECParameterSpec weierstrass(byte[] curve) {
        try {
            AlgorithmParameters parameters = AlgorithmParameters.getInstance("EC");
            parameters.init(curve);
            return parameters.getParameterSpec(ECParameterSpec.class);
        } catch (IOException | NoSuchAlgorithmException | InvalidParameterSpecException e) {
            return null;
        }
    }

    /** The curves of RFC 8032 and RFC 7748, and the values of CKA_EC_PARAMS by which modules name them. */
    enum Curve {
        ED25519("Ed25519", "edwards25519", 0x70), ED448("Ed448", "edwards448", 0x71),
        X25519("X25519", "curve25519", 0x6e), X448("X448", "curve448", 0x6f);

        final NamedParameterSpec parameters;
        final byte[] identifier;
        private final byte[] name;

        Curve(String jcaName, String name, int lastOfIdentifier) {
            parameters = new NamedParameterSpec(jcaName);
            identifier = new byte[] {Der.OBJECT_IDENTIFIER, 3, 0x2b, 0x65, (byte) lastOfIdentifier};
            this.name = Der.encode(Der.PRINTABLE_STRING, name.getBytes(StandardCharsets.US_ASCII));
        }

        /** Returns the curve of CKA_EC_PARAMS; null if it is another. */
        static Curve of(byte[] encoded) {
            return Arrays.stream(values()).filter(each -> Arrays.equals(each.identifier, encoded)
                || Arrays.equals(each.name, encoded)).findFirst().orElse(null);
        }

        /** Returns the curve of a JCA name; null if there is none. */
        static Curve named(String jcaName) {
            return Arrays.stream(values()).filter(each -> each.parameters.getName().equalsIgnoreCase(jcaName))
                .findFirst().orElse(null);
        }

        boolean signs() {
            return this == ED25519 || this == ED448;
        }
    }

    /** A private key of RSA. */
    private static final class Rsa extends TokenPrivateKey implements RSAKey {
        private static final long serialVersionUID = 1L;
        private final transient BigInteger modulus;

        Rsa(Token token, Connection at, NativePKCS11Object object, PKCS11Attributes read) {
            super(token, "RSA", at, object, read, null);
            modulus = read.getBigInteger(CKA_MODULUS);
        }

        @Override
        public BigInteger getModulus() {
            return modulus;
        }

        /** Returns null: the key is not restricted to PSS. From JDK 22 on two interfaces have this method. */
        @Override
        public AlgorithmParameterSpec getParams() {
            return null;
        }
    }

    /** A private key of DSA. */
    private static final class Dsa extends TokenPrivateKey implements DSAKey {
        private static final long serialVersionUID = 1L;
        private final transient DSAParameterSpec parameters;

        Dsa(Token token, Connection at, NativePKCS11Object object, PKCS11Attributes read, PublicKey publicKey) {
            super(token, "DSA", at, object, read, publicKey);
            parameters = new DSAParameterSpec(read.getBigInteger(CKA_PRIME), read.getBigInteger(CKA_SUBPRIME),
                read.getBigInteger(CKA_BASE));
        }

        @Override
        public DSAParameterSpec getParams() {
            return parameters;
        }
    }

    /** A private key of a Weierstrass curve. */
    private static final class Ec extends TokenPrivateKey implements ECKey {
        private static final long serialVersionUID = 1L;
        private final transient ECParameterSpec parameters;

        Ec(Token token, Connection at, NativePKCS11Object object, PKCS11Attributes read, PublicKey publicKey,
            ECParameterSpec parameters) {
            super(token, "EC", at, object, read, publicKey);
            this.parameters = parameters;
        }

        @Override
        public ECParameterSpec getParams() {
            return parameters;
        }
    }

    /** A private key of X25519 or X448. */
    private static final class Montgomery extends TokenPrivateKey implements XECKey {
        private static final long serialVersionUID = 1L;
        private final transient NamedParameterSpec parameters;

        Montgomery(Token token, Connection at, NativePKCS11Object object, PKCS11Attributes read, PublicKey publicKey,
            NamedParameterSpec parameters) {
            super(token, "XDH", at, object, read, publicKey);
            this.parameters = parameters;
        }

        @Override
        public AlgorithmParameterSpec getParams() {
            return parameters;
        }
    }
}
