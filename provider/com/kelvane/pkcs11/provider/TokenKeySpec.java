package com.kelvane.pkcs11.provider;

import java.security.SecureRandom;
import java.security.spec.AlgorithmParameterSpec;

/**
 * The attributes of a new key on a token: by a {@code KeyPairGenerator} or {@code KeyGenerator}, by
 * {@code Cipher.unwrap}, or by a {@code KeyAgreement}. It takes the place of the parameters that the algorithm has by
 * itself, and holds them:
 *
 * <pre>{@code
 * generator.initialize(new TokenKeySpec(new ECGenParameterSpec("secp256r1")).onToken("server"));
 * }</pre>
 *
 * <p>Without it, or with no method called, a key ends with its Java object (a session object), is
 * sensitive, and cannot be extracted. It can do all that keys of its kind do.
 *
 * <p>An object does not change; the methods return new ones.
 */
public final class TokenKeySpec implements AlgorithmParameterSpec {
    private final AlgorithmParameterSpec parameters;
    private final String label;
    private final byte[] id;
    private final boolean onToken;
    private final boolean sensitive;
    private final boolean extractable;

    /**
     * Builds the attributes of a session key.
     *
     * @param parameters the parameters of the algorithm, {@code ECGenParameterSpec} for example; null if it needs none
     */
    public TokenKeySpec(AlgorithmParameterSpec parameters) {
        this(parameters, null, null, false, true, false);
    }

    private TokenKeySpec(AlgorithmParameterSpec parameters, String label, byte[] id, boolean onToken, boolean sensitive,
        boolean extractable) {
        this.parameters = parameters;
        this.label = label;
        this.id = id;
        this.onToken = onToken;
        this.sensitive = sensitive;
        this.extractable = extractable;
    }

    /** Returns the attributes that a parameter object means for a new key: its own, or the default. */
    static TokenKeySpec of(AlgorithmParameterSpec parameters) {
        return parameters instanceof TokenKeySpec ? (TokenKeySpec) parameters : new TokenKeySpec(parameters);
    }

    /**
     * Returns these attributes for a key that stays on the token.
     *
     * @param newLabel the key's label ({@code CKA_LABEL}), by which a key store names it
     * @return the new attributes
     */
    public TokenKeySpec onToken(String newLabel) {
        return new TokenKeySpec(parameters, newLabel, id, true, sensitive, extractable);
    }

    /**
     * Returns these attributes with an identifier ({@code CKA_ID}), by which key and certificate find each other.
     * Without one it is 16 random bytes.
     *
     * @param newId the identifier
     * @return the new attributes
     */
    public TokenKeySpec withId(byte[] newId) {
        return new TokenKeySpec(parameters, label, newId.clone(), onToken, sensitive, extractable);
    }

    /**
     * Returns these attributes for a key whose value the token reveals, or does not reveal ({@code CKA_SENSITIVE}).
     *
     * @param isSensitive false for a key that can be read
     * @return the new attributes
     */
    public TokenKeySpec sensitive(boolean isSensitive) {
        return new TokenKeySpec(parameters, label, id, onToken, isSensitive, extractable);
    }

    /**
     * Returns these attributes for a key that can be wrapped, or cannot ({@code CKA_EXTRACTABLE}).
     *
     * @param isExtractable true for a key that can be wrapped
     * @return the new attributes
     */
    public TokenKeySpec extractable(boolean isExtractable) {
        return new TokenKeySpec(parameters, label, id, onToken, sensitive, isExtractable);
    }

    /** Returns these attributes with an identifier, a random one if there is none yet. */
    TokenKeySpec identified() {
        if (id != null) {
            return this;
        }
        byte[] random = new byte[16];
        new SecureRandom().nextBytes(random);
        return withId(random);
    }

    /**
     * Returns the parameters of the algorithm.
     *
     * @return the parameters; null if there are none
     */
    public AlgorithmParameterSpec getParameters() {
        return parameters;
    }

    /**
     * Returns the label.
     *
     * @return the label; null if there is none
     */
    public String getLabel() {
        return label;
    }

    /**
     * Returns the identifier.
     *
     * @return a copy of the identifier; null if it is to be random
     */
    public byte[] getId() {
        return id == null ? null : id.clone();
    }

    /**
     * Returns whether the key stays on the token.
     *
     * @return false for a session key
     */
    public boolean isOnToken() {
        return onToken;
    }

    /**
     * Returns whether the token keeps the value of the key to itself.
     *
     * @return false for a key that can be read
     */
    public boolean isSensitive() {
        return sensitive;
    }

    /**
     * Returns whether the key can be wrapped.
     *
     * @return true for a key that can be wrapped
     */
    public boolean isExtractable() {
        return extractable;
    }
}
