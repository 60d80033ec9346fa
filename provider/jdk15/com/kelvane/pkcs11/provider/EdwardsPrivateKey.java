package com.kelvane.pkcs11.provider;

import com.kelvane.pkcs11.PKCS11Attributes;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import java.security.PublicKey;
import java.security.interfaces.EdECKey;
import java.security.spec.NamedParameterSpec;

/** A private key of Ed25519 or Ed448. */
final class EdwardsPrivateKey extends TokenPrivateKey implements EdECKey {
    private static final long serialVersionUID = 1L;
    private final transient NamedParameterSpec parameters;

    EdwardsPrivateKey(Token token, Connection at, NativePKCS11Object object, PKCS11Attributes read, PublicKey publicKey,
        NamedParameterSpec parameters) {
        super(token, "EdDSA", at, object, read, publicKey);
        this.parameters = parameters;
    }

    @Override
    public NamedParameterSpec getParams() {
        return parameters;
    }
}
