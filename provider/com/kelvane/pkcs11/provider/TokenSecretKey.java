package com.kelvane.pkcs11.provider;

import com.kelvane.pkcs11.PKCS11Attributes;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import javax.crypto.SecretKey;

/** A secret key on a token. */
final class TokenSecretKey extends TokenKey implements SecretKey {
    private static final long serialVersionUID = 1L;

    TokenSecretKey(Token token, String algorithm, Connection at, NativePKCS11Object object, PKCS11Attributes read) {
        super(token, algorithm, at, object, read, null);
    }
}
