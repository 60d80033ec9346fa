package com.kelvane.tokbridge.tool.trials;

import static com.kelvane.pkcs11.PKCS11Constants.*;

/** A use of mechanisms: the flags that offer it, the attributes that permit it, and its trial. */
final class Use {
    static final Use DIGEST = new Use("digest", CKF_DIGEST, 0, 0, false, Attempt::digest),
        MAC = new Use("MAC", CKF_SIGN, CKA_SIGN, CKA_VERIFY, false, Attempt::mac),
        SIGNATURE = new Use("signature", CKF_SIGN, CKA_SIGN, CKA_VERIFY, false, Attempt::signature),
        STREAM = new Use("signed stream", CKF_SIGN, CKA_SIGN, CKA_VERIFY, false, Attempt::stream),
        CIPHER = new Use("cipher", CKF_ENCRYPT | CKF_DECRYPT, CKA_DECRYPT, CKA_ENCRYPT, false, Attempt::cipher),
        DECRYPTION = new Use("decryption", CKF_DECRYPT, CKA_DECRYPT, CKA_ENCRYPT, false, Attempt::decryption),
        ENCRYPTION = new Use("encryption", CKF_ENCRYPT, CKA_DECRYPT, CKA_ENCRYPT, false, Attempt::encryption),
        WRAP = new Use("key wrap", CKF_WRAP, CKA_UNWRAP, CKA_WRAP, true, Attempt::wrap),
        AGREEMENT = new Use("agreement", CKF_DERIVE, CKA_DERIVE, 0, true, Attempt::agreement),
        ENCAPSULATION = new Use("encapsulation", CKF_ENCAPSULATE | CKF_DECAPSULATE, CKA_DECAPSULATE, CKA_ENCAPSULATE,
            true, Attempt::encapsulation),
        DERIVATION = new Use("derivation", CKF_DERIVE, CKA_DERIVE, 0, true, Attempt::derivation),
        KEY = new Use("new key", CKF_GENERATE, 0, 0, true, Attempt::secretKey),
        PAIR = new Use("new key pair", CKF_GENERATE_KEY_PAIR | CKF_GENERATE, 0, 0, true,
            Attempt::keyPair); // some modules flag it as the generation of a key

    /** Carries a use out, compares the result with the JDK's, and inverts it; returns what it was compared with. */
    interface Trial {
        String run(Attempt attempt) throws Exception;
    }

    final String title;
    final int flags;

    /** The attribute that a secret or private key needs, and the one that a secret or public key needs; 0 for none. */
    final int attribute, publicAttribute;

    /** Whether objects are created, if only for the session: such uses are tried with {@code --write}. */
    final boolean createsObjects;
    final Trial trial;

    Use(String title, int flags, int attribute, int publicAttribute, boolean createsObjects, Trial trial) {
        this.title = title;
        this.flags = flags;
        this.attribute = attribute;
        this.publicAttribute = publicAttribute;
        this.createsObjects = createsObjects;
        this.trial = trial;
    }
}
