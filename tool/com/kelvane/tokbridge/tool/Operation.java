package com.kelvane.tokbridge.tool;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11MechanismInfo;
import java.security.GeneralSecurityException;
import java.security.spec.AlgorithmParameterSpec;
import java.util.function.Predicate;

/** A row of the table of operations: what a mechanism does with a kind of key. */
final class Operation {
    /** What is done; the functions that a mechanism has for it, and the attributes by which a key may be used so. */
    enum Use {
        DIGEST("digest", PKCS11MechanismInfo::canDigest, 0, 0),
        MAC("MAC", PKCS11MechanismInfo::canSign, CKA_SIGN, CKA_VERIFY),
        CIPHER("cipher", info -> info.canEncrypt() || info.canDecrypt(), CKA_DECRYPT, CKA_ENCRYPT),
        SIGNATURE("signature", PKCS11MechanismInfo::canSign, CKA_SIGN, CKA_VERIFY),
        DECRYPTION("decryption", PKCS11MechanismInfo::canDecrypt, CKA_DECRYPT, CKA_ENCRYPT),
        ENCRYPTION("encryption", PKCS11MechanismInfo::canEncrypt, CKA_DECRYPT, CKA_ENCRYPT),
        WRAP("key wrap", PKCS11MechanismInfo::canWrap, CKA_UNWRAP, CKA_WRAP),
        AGREEMENT("agreement", PKCS11MechanismInfo::canDerive, CKA_DERIVE, 0),
        DERIVATION("derivation", PKCS11MechanismInfo::canDerive, CKA_DERIVE, 0),
        KEY("new key", PKCS11MechanismInfo::canGenerate, 0, 0),
        PAIR("new key pair", info -> info.canGenerateKeyPair() || info.canGenerate(), 0, 0), // some flag it so
        DOMAIN("new domain", PKCS11MechanismInfo::canGenerate, 0, 0);

        final String title;
        final Predicate<PKCS11MechanismInfo> offered;

        /** What a secret or private key needs, and a secret or public one. */
        final int attribute;
        final int publicAttribute;

        Use(String title, Predicate<PKCS11MechanismInfo> offered, int attribute, int publicAttribute) {
            this.title = title;
            this.offered = offered;
            this.attribute = attribute;
            this.publicAttribute = publicAttribute;
        }

        /** Whether it makes objects, if only for the session: such things are done with leave to write. */
        boolean makesObjects() {
            return ordinal() >= WRAP.ordinal();
        }
    }

    /** Makes what the token is given of a message. */
    interface Input {
        byte[] of(byte[] message, Key key) throws GeneralSecurityException, Report.NotTried;
    }

    /** Computes with the JDK what the token derives from a key's value. */
    interface Derived {
        byte[] of(byte[] base) throws GeneralSecurityException;
    }

    final Use use;
    final int mechanism;

    /** The kind of key; null where none is needed. */
    final KeyKind kind;
    final Object parameter;

    /** The JDK's name, null where it has no such thing, and its parameter. */
    String inJdk;
    AlgorithmParameterSpec parameterInJdk;
    Input input = (message, key) -> message;
    Derived derived;

    /** Whether a cipher tells text that was changed; it has {@link Operations#HEADER} as data beside the text then. */
    boolean authenticated;

    Operation(Use use, int mechanism, KeyKind kind, Object parameter) {
        this.use = use;
        this.mechanism = mechanism;
        this.kind = kind;
        this.parameter = parameter;
    }

    /** Names what the JDK has. */
    Operation as(String name, AlgorithmParameterSpec with) {
        inJdk = name;
        parameterInJdk = with;
        return this;
    }

    Operation of(Input made) {
        input = made;
        return this;
    }

    Operation giving(Derived value) {
        derived = value;
        return this;
    }

    Operation authenticated() {
        authenticated = true;
        return this;
    }

    String name() {
        return nameOf("CKM_", mechanism);
    }
}
