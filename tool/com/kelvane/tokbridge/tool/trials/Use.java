package com.kelvane.tokbridge.tool.trials;

import static com.kelvane.pkcs11.PKCS11Constants.*;

/** A use of mechanisms: the flags that offer it, the attributes that permit it, and its trial. */
final class Use {
    static final Use DIGEST = new Use("digest", CKF_DIGEST, 0, 0, Attempt::digest),
        MAC = new Use("MAC", CKF_SIGN, CKA_SIGN, CKA_VERIFY, Attempt::mac),
        SIGNATURE = new Use("signature", CKF_SIGN, CKA_SIGN, CKA_VERIFY, Attempt::signature),
        STREAM = new Use("signed stream", CKF_SIGN, CKA_SIGN, CKA_VERIFY, Attempt::stream),
        CIPHER = new Use("cipher", CKF_ENCRYPT | CKF_DECRYPT, CKA_DECRYPT, CKA_ENCRYPT, Attempt::cipher),
        DECRYPTION = new Use("decryption", CKF_DECRYPT, CKA_DECRYPT, CKA_ENCRYPT, Attempt::decryption),
        ENCRYPTION = new Use("encryption", CKF_ENCRYPT, CKA_DECRYPT, CKA_ENCRYPT, Attempt::encryption),
        WRAP = new Use("key wrap", CKF_WRAP, CKA_UNWRAP, CKA_WRAP, Attempt::wrap),
        AGREEMENT = new Use("agreement", CKF_DERIVE, CKA_DERIVE, 0, Attempt::agreement),
        ENCAPSULATION = new Use("encapsulation", CKF_ENCAPSULATE | CKF_DECAPSULATE, CKA_DECAPSULATE, CKA_ENCAPSULATE,
            Attempt::encapsulation),
        DERIVATION = new Use("derivation", CKF_DERIVE, CKA_DERIVE, 0, Attempt::derivation),
        KEY = new Use("new key", CKF_GENERATE, 0, 0, Attempt::secretKey),
        PAIR = new Use("new key pair", CKF_GENERATE_KEY_PAIR | CKF_GENERATE, 0, 0,
            Attempt::keyPair); // some modules flag it as the generation of a key

    /** Carries a use out, compares the result with the JDK's, and inverts it; returns what it was compared with. */
    interface Trial {
        String run(Attempt attempt) throws Exception;
    }

    final String title;
    final int flags;

    /** The attribute that a secret or private key needs, and the one that a secret or public key needs; 0 for none. */
    final int attribute, publicAttribute;
    final Trial trial;

    Use(String title, int flags, int attribute, int publicAttribute, Trial trial) {
        this.title = title;
        this.flags = flags;
        this.attribute = attribute;
        this.publicAttribute = publicAttribute;
        this.trial = trial;
    }

    /** Returns whether objects are created, if only for the session: these uses are tried with {@code --write}. */
    boolean createsObjects() {
        return (flags & (CKF_DIGEST | CKF_SIGN | CKF_ENCRYPT | CKF_DECRYPT)) == 0;
    }
}
