package com.kelvane.tokbridge.tool.trials;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.tokbridge.tool.token.Token;

/** A row of the table of operations: a mechanism, its use, the kind of key, the parameter, the JDK's counterpart. */
final class Operation {
    /** The mechanism of an operation without one; no token offers it. */
    static final int NONE = CK_UNAVAILABLE_INFORMATION;

    final Use use;
    final int mechanism;

    /** The kind of key; null for no key. */
    final KeyKind kind;
    final Object parameter;

    /** The preparation of the message. */
    Jdk.Computation input = (key, message) -> message;

    /** The JDK's counterpart, and that of signatures; null if it has none. */
    Jdk.Computation computation;
    Jdk.Verification verification;

    Operation(Use use, int mechanism, KeyKind kind, Object parameter) {
        this.use = use;
        this.mechanism = mechanism;
        this.kind = kind;
        this.parameter = parameter;
    }

    Operation as(Jdk.Computation counterpart) {
        computation = counterpart;
        return this;
    }

    Operation as(Jdk.Verification counterpart) {
        verification = counterpart;
        return this;
    }

    Operation of(Jdk.Computation prepared) {
        input = prepared;
        return this;
    }

    boolean isOffered(Token token) {
        return token.offers(mechanism, use.flags);
    }

    /** Returns the mechanism's name; null for no mechanism. */
    String name() {
        return mechanism == NONE ? null : nameOf("CKM_", mechanism);
    }
}
