package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.Template;
import com.kelvane.pkcs11.nat.NativePKCS11KeyPair;
import java.io.IOException;
import java.security.AlgorithmParameters;
import java.security.GeneralSecurityException;
import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidParameterException;
import java.security.KeyPair;
import java.security.KeyPairGenerator;
import java.security.KeyPairGeneratorSpi;
import java.security.ProviderException;
import java.security.PublicKey;
import java.security.SecureRandom;
import java.security.interfaces.DSAParams;
import java.security.interfaces.DSAPublicKey;
import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.DSAParameterSpec;
import java.security.spec.ECGenParameterSpec;
import java.security.spec.ECParameterSpec;
import java.security.spec.InvalidParameterSpecException;
import java.security.spec.NamedParameterSpec;
import java.security.spec.RSAKeyGenParameterSpec;
import java.util.Locale;
import java.util.Map;
import java.util.function.Function;

/** Generates key pairs on the token. The public key is one of the JDK. */
final class TokenKeyPairGenerator extends KeyPairGeneratorSpi {
    /** The conversion of parameters to the attributes that a public key is generated from. */
    private interface Parameters {
        Template template(AlgorithmParameterSpec parameters) throws GeneralSecurityException, IOException;
    }

    /** The conversion of a key size to parameters. */
    private interface Sizes {
        AlgorithmParameterSpec parameters(int size) throws GeneralSecurityException;
    }

    /** The algorithms, with the parameters that each takes. */
    enum Algorithm {
        RSA(KeyKind.RSA, 2048, TokenKeyPairGenerator::rsa,
            size -> new RSAKeyGenParameterSpec(size, RSAKeyGenParameterSpec.F4)),
        EC(KeyKind.EC, 256, TokenKeyPairGenerator::ec, size -> named(Map.of(224, "secp224r1", 256, "secp256r1",
            384, "secp384r1", 521, "secp521r1"), size, ECGenParameterSpec::new)),
        DSA(KeyKind.DSA, 2048, TokenKeyPairGenerator::dsa, TokenKeyPairGenerator::dsaParameters),
        EDDSA(KeyKind.EDDSA, 255, TokenKeyPairGenerator::curve,
            size -> named(Map.of(255, "Ed25519", 448, "Ed448"), size, NamedParameterSpec::new)),
        XDH(KeyKind.XDH, 255, TokenKeyPairGenerator::curve,
            size -> named(Map.of(255, "X25519", 448, "X448"), size, NamedParameterSpec::new)),
        ML_DSA(KeyKind.ML_DSA, 65, TokenKeyPairGenerator::mlDsa, size -> new NamedParameterSpec("ML-DSA-" + size));

        final KeyKind kind;
        private final int defaultSize;
        private final Parameters parameters;
        private final Sizes sizes;

        Algorithm(KeyKind kind, int defaultSize, Parameters parameters, Sizes sizes) {
            this.kind = kind;
            this.defaultSize = defaultSize;
            this.parameters = parameters;
            this.sizes = sizes;
        }
    }

    private final Token token;
    private final Algorithm algorithm;
    private final int mechanism;

    /** The parameter set of an algorithm name that contains it, "Ed25519" for example; null for any. */
    private final String fixed;

    /** Null before the initialisation: the default is used then. */
    private TokenKeySpec keySpec;
    private Template template;

    TokenKeyPairGenerator(Token token, Algorithm algorithm, int mechanism, String fixed) {
        this.token = token;
        this.algorithm = algorithm;
        this.mechanism = mechanism;
        this.fixed = fixed;
    }

    @Override
    public void initialize(int size, SecureRandom random) {
        try {
            initialize(algorithm.sizes.parameters(size), random);
        } catch (GeneralSecurityException e) {
            throw (InvalidParameterException) new InvalidParameterException(e.getMessage()).initCause(e);
        }
    }

    @Override
    public void initialize(AlgorithmParameterSpec given, SecureRandom random)
        throws InvalidAlgorithmParameterException {
        TokenKeySpec requested = TokenKeySpec.of(given);
        try {
            AlgorithmParameterSpec parameters = requested.getParameters() != null ? requested.getParameters()
                : fixed != null ? new NamedParameterSpec(fixed) : algorithm.sizes.parameters(algorithm.defaultSize);
            if (fixed != null && !(parameters instanceof NamedParameterSpec
                && ((NamedParameterSpec) parameters).getName().equalsIgnoreCase(fixed))) {
                throw new InvalidAlgorithmParameterException("the algorithm is " + fixed);
            }
            template = algorithm.parameters.template(parameters);
            keySpec = requested;
        } catch (ClassCastException | GeneralSecurityException | IOException e) {
            throw new InvalidAlgorithmParameterException("not parameters of " + algorithm.kind.algorithm + ": "
                + e.getMessage(), e);
        }
    }

    @Override
    public KeyPair generateKeyPair() {
        try {
            if (keySpec == null) {
                initialize((AlgorithmParameterSpec) null, null);
            }
            Template publicParameters = template;
            TokenKeySpec identified = keySpec.identified();
            return token.create(identified, (at, session) -> {
                NativePKCS11KeyPair pair = session.generateKeyPair(mechanism, null,
                    join(algorithm.kind.generatedPublic(identified), publicParameters),
                    algorithm.kind.generated(token, identified));
                PublicKey publicKey;
                try {
                    publicKey = pair.getPublic().toPublicKey();
                } catch (GeneralSecurityException e) {
                    session.destroyObject(pair.getPrivate());
                    session.destroyObject(pair.getPublic());
                    throw new ProviderException("the JDK does not know this kind of public key", e);
                }
                if (!identified.isOnToken()) {
                    session.destroyObject(pair.getPublic());
                }
                return new KeyPair(publicKey, TokenPrivateKey.of(token, at, pair.getPrivate(), publicKey));
            });
        } catch (GeneralSecurityException | PKCS11Exception e) {
            throw new ProviderException("The token generates no key pair: " + e.getMessage(), e);
        }
    }

    private static Template join(Template one, Template other) {
        int[] types = other.getTypes();
        Object[] values = other.getValues();
        Template joined = one;
        for (int i = 0; i < types.length; i++) {
            joined = joined.and(types[i], values[i]);
        }
        return joined;
    }

    private static <T> T named(Map<Integer, String> names, int size, Function<String, T> keySpec)
        throws InvalidAlgorithmParameterException {
        String name = names.get(size);
        if (name == null) {
            throw new InvalidAlgorithmParameterException(size + " is none of the sizes " + names.keySet());
        }
        return keySpec.apply(name);
    }

    private static Template rsa(AlgorithmParameterSpec parameters) throws InvalidAlgorithmParameterException {
        RSAKeyGenParameterSpec rsa = (RSAKeyGenParameterSpec) parameters;
        if (rsa.getKeysize() < 512 || rsa.getKeysize() > 16384) { // the limits of the JDK's public keys
            throw new InvalidAlgorithmParameterException(rsa.getKeysize() + " is not a size from 512 to 16384");
        }
        return Template.of(CKA_MODULUS_BITS, rsa.getKeysize(), CKA_PUBLIC_EXPONENT, rsa.getPublicExponent());
    }

    private static Template ec(AlgorithmParameterSpec parameters) throws GeneralSecurityException, IOException {
        return Template.of(CKA_EC_PARAMS, encodedCurve(parameters));
    }

    /** Encodes the identifier of a curve that the JDK knows. */
    static byte[] encodedCurve(AlgorithmParameterSpec parameters) throws GeneralSecurityException, IOException {
        if (!(parameters instanceof ECGenParameterSpec || parameters instanceof ECParameterSpec)) {
            throw new InvalidParameterSpecException("ECGenParameterSpec or ECParameterSpec is needed");
        }
        AlgorithmParameters encoder = AlgorithmParameters.getInstance("EC");
        encoder.init(parameters);
        return encoder.getEncoded();
    }

    private static Template curve(AlgorithmParameterSpec parameters) throws InvalidParameterSpecException {
        TokenPrivateKey.Curve curve = TokenPrivateKey.Curve.named(((NamedParameterSpec) parameters).getName());
        if (curve == null) {
            throw new InvalidParameterSpecException("unknown curve " + ((NamedParameterSpec) parameters).getName());
        }
        return Template.of(CKA_EC_PARAMS, curve.identifier);
    }

    private static Template dsa(AlgorithmParameterSpec parameters) {
        DSAParameterSpec dsa = (DSAParameterSpec) parameters;
        return Template.of(CKA_PRIME, dsa.getP(), CKA_SUBPRIME, dsa.getQ(), CKA_BASE, dsa.getG());
    }

    /** Returns the domain parameters that the JDK has for a size: to generate others takes long. */
    private static AlgorithmParameterSpec dsaParameters(int size) throws GeneralSecurityException {
        KeyPairGenerator software = KeyPairGenerator.getInstance("DSA", TokenKeyFactory.software("DSA"));
        software.initialize(size);
        DSAParams known = ((DSAPublicKey) software.generateKeyPair().getPublic()).getParams();
        return new DSAParameterSpec(known.getP(), known.getQ(), known.getG());
    }

    private static Template mlDsa(AlgorithmParameterSpec parameters) throws InvalidParameterSpecException {
        String name = ((NamedParameterSpec) parameters).getName();
        Integer set = Map.of("ML-DSA-44", CKP_ML_DSA_44, "ML-DSA-65", CKP_ML_DSA_65, "ML-DSA-87", CKP_ML_DSA_87)
            .get(name.toUpperCase(Locale.ROOT));
        if (set == null) {
            throw new InvalidParameterSpecException("unknown parameter set " + name);
        }
        return Template.of(CKA_PARAMETER_SET, set);
    }
}
