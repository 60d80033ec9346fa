package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Attributes;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import javax.crypto.SecretKey;

/** A secret key on a token. */
final class TokenSecretKey extends TokenKey implements SecretKey {
    private static final long serialVersionUID = 1L;

    /** The attributes that the constructor needs; for a new session key the identifier is enough. */
    static final int[] ATTRIBUTES_OF_SESSION = {CKA_CLASS, CKA_KEY_TYPE, CKA_TOKEN, CKA_ID};
    static final int[] ATTRIBUTES = {CKA_CLASS, CKA_KEY_TYPE, CKA_TOKEN, CKA_ID, CKA_LABEL, CKA_UNIQUE_ID,
        CKA_CHECK_VALUE, CKA_ALLOWED_MECHANISMS};

    TokenSecretKey(Token token, String algorithm, Connection at, NativePKCS11Object object, PKCS11Attributes read) {
        super(token, algorithm, at, object, read, null);
    }
}
