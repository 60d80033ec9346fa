package com.kelvane.pkcs11.provider;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Exception;
import java.security.InvalidKeyException;
import java.security.ProviderException;
import java.security.SecureRandomSpi;

/** The random number generator of the token. */
final class TokenRandom extends SecureRandomSpi {
    private static final long serialVersionUID = 1L;

    /** The most that NSS returns at once. */
    private static final int LONGEST = 1 << 16;
    private final transient Token token;

    TokenRandom(Token token) {
        this.token = token;
    }

    @Override
    protected void engineSetSeed(byte[] seed) {
        run((at, session) -> {
            try {
                session.seedRandom(seed, 0, seed.length);
            } catch (PKCS11Exception e) {
                if (e.getCode() != CKR_RANDOM_SEED_NOT_SUPPORTED
                    && e.getCode() != CKR_FUNCTION_NOT_SUPPORTED) { // the generator seeds itself
                    throw e;
                }
            }
            return null;
        });
    }

    @Override
    protected void engineNextBytes(byte[] bytes) {
        run((at, session) -> {
            for (int done = 0; done < bytes.length; done += LONGEST) {
                session.generateRandom(bytes, done, Math.min(LONGEST, bytes.length - done));
            }
            return null;
        });
    }

    @Override
    protected byte[] engineGenerateSeed(int length) {
        byte[] seed = new byte[length];
        engineNextBytes(seed);
        return seed;
    }

    private void run(Token.Work<Void> work) {
        try {
            token.run(work);
        } catch (InvalidKeyException | PKCS11Exception e) {
            throw new ProviderException("The token has no random bytes: " + e.getMessage(), e);
        }
    }
}
