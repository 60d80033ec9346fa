package com.kelvane.tokbridge.tool.trials;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.tokbridge.tool.token.Token;
import java.security.GeneralSecurityException;
import java.security.spec.AlgorithmParameterSpec;
import java.util.List;

/** A row of the table of operations: a mechanism, its use, the kind of key, the parameter, the JDK's counterpart. */
final class Operation {
    /** The mechanism of an operation without one; no token offers it. */
    static final int NONE = CK_UNAVAILABLE_INFORMATION;

    /** Prepares a message for a mechanism. */
    interface Input {
        byte[] of(byte[] message, Key key) throws Exception;
    }

    /** Computes with the JDK the value that the token derives from a key's value. */
    interface Derivation {
        byte[] of(byte[] base) throws GeneralSecurityException;
    }

    final Use use;
    final int mechanism;

    /** The kind of key; null for no key. */
    final KeyKind kind;
    final Object parameter;
    Input input = (message, key) -> message;

    /** The JDK's algorithms: empty if it has no counterpart, several if modules differ in the mechanism's meaning. */
    List<String> algorithms = List.of();
    AlgorithmParameterSpec jdkParameter;
    Derivation derivation;

    Operation(Use use, int mechanism, KeyKind kind, Object parameter) {
        this.use = use;
        this.mechanism = mechanism;
        this.kind = kind;
        this.parameter = parameter;
    }

    /** Names the JDK's counterparts and their parameter. */
    Operation as(AlgorithmParameterSpec parameterOfJdk, String... names) {
        algorithms = List.of(names);
        jdkParameter = parameterOfJdk;
        return this;
    }

    Operation of(Input prepared) {
        input = prepared;
        return this;
    }

    Operation giving(Derivation derived) {
        derivation = derived;
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
