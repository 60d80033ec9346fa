package com.kelvane.pkcs11;

import com.kelvane.pkcs11.nat.NativePKCS11Object;

/**
 * One more key of a derivation ({@code CK_DERIVED_KEY}), an element of
 * {@link CK_SP800_108_KDF_PARAMS#pAdditionalDerivedKeys}.
 */
public class CK_DERIVED_KEY {
    /** The template of the key; null for none. */
    public Template pTemplate;

    /** Receives the key. */
    public NativePKCS11Object phKey;

    /** Creates the parameter with all fields null. */
    public CK_DERIVED_KEY() {
    }

    /**
     * Creates the parameter.
     *
     * @param pTemplate the attributes that the key is to have, or null
     * @param phKey receives the key
     */
    public CK_DERIVED_KEY(Template pTemplate, NativePKCS11Object phKey) {
        this.pTemplate = pTemplate;
        this.phKey = phKey;
    }
}
