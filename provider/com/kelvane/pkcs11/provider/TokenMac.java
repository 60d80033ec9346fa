package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.CKM_AES_CMAC;

import com.kelvane.pkcs11.PKCS11Exception;
import java.lang.ref.Reference;
import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.Key;
import java.security.ProviderException;
import java.security.spec.AlgorithmParameterSpec;
import javax.crypto.MacSpi;
import javax.crypto.SecretKey;
import javax.crypto.spec.SecretKeySpec;

/**
 * A MAC. Data of up to 64 KiB is collected and sent in one call, so that no session is held and a lost one does not
 * matter; longer data goes to the token in parts.
 */
final class TokenMac extends MacSpi {
    private static final int MOST_COLLECTED = 1 << 16;

    private final Token token;
    private final int mechanism;
    private final int length;
    private final Buffer data = new Buffer();
    private TokenSecretKey key;
    private HeldSession operation;

    /** Whether the module computes this MAC in parts; not all compute every one. */
    private boolean inParts = true;

    TokenMac(Token token, int mechanism, int length) {
        this.token = token;
        this.mechanism = mechanism;
        this.length = length;
    }

    @Override
    protected int engineGetMacLength() {
        return length;
    }

    @Override
    protected void engineInit(Key newKey, AlgorithmParameterSpec parameters)
        throws InvalidKeyException, InvalidAlgorithmParameterException {
        if (parameters != null) {
            throw new InvalidAlgorithmParameterException("this MAC has no parameters");
        }
        engineReset();
        key = newKey instanceof TokenKey || !(newKey instanceof SecretKey) ? Keys.secret(token, newKey)
            : imported((SecretKey) newKey);
    }

    /** Imports a key of software, whose name does not matter, and checks it: some modules refuse short ones. */
    private TokenSecretKey imported(SecretKey software) throws InvalidKeyException {
        byte[] value = software.getEncoded();
        if (value == null) {
            throw new InvalidKeyException("the key has no encoding");
        }
        TokenSecretKey imported = Keys.secret(token,
            new SecretKeySpec(value, (mechanism == CKM_AES_CMAC ? KeyKind.AES : KeyKind.GENERIC).algorithm));
        try {
            token.use(imported, (session, object) -> session.sign(mechanism, null, object, new byte[0]));
            return imported;
        } catch (PKCS11Exception e) {
            throw new InvalidKeyException("The token does not compute the MAC with this key: " + e.getMessage(), e);
        }
    }

    @Override
    protected void engineUpdate(byte input) {
        engineUpdate(new byte[] {input}, 0, 1);
    }

    @Override
    protected void engineUpdate(byte[] input, int offset, int count) {
        data.add(input, offset, count);
        if (data.length() > MOST_COLLECTED && inParts) {
            byte[] part = data.all();
            try {
                if (operation == null) {
                    start(part);
                } else {
                    send(part);
                }
            } catch (InvalidKeyException | PKCS11Exception e) {
                throw failure(e);
            } finally {
                Reference.reachabilityFence(this);
            }
        }
    }

    private void start(byte[] part) throws InvalidKeyException {
        try {
            operation = token.start(key, (session, object) -> {
                session.signInit(mechanism, null, object);
                session.signUpdate(part, 0, part.length);
                return null;
            }).ownedBy(this);
            data.clear();
        } catch (PKCS11Exception e) {
            inParts = false;
        }
    }

    private void send(byte[] part) {
        operation.part(session -> {
            session.signUpdate(part, 0, part.length);
            return null;
        });
        data.clear();
    }

    @Override
    protected byte[] engineDoFinal() {
        byte[] last = data.all();
        try {
            if (operation == null) {
                return token.use(key, (session, object) -> session.sign(mechanism, null, object, last));
            }
            send(last);
            byte[] mac = new byte[length];
            operation.last(session -> session.signFinal(mac, 0));
            return mac;
        } catch (InvalidKeyException | PKCS11Exception e) {
            throw failure(e);
        } finally {
            engineReset();
            Reference.reachabilityFence(this);
        }
    }

    private static ProviderException failure(Exception e) {
        return new ProviderException("The token does not compute the MAC: " + e.getMessage(), e);
    }

    @Override
    protected void engineReset() {
        data.clear();
        if (operation != null) {
            operation.abandon();
            operation = null;
        }
    }
}
