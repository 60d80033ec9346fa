package com.kelvane.tokbridge.tool.trials;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.tool.trials.Verdict.*;
import static java.util.stream.Collectors.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.tokbridge.tool.reports.Output;
import com.kelvane.tokbridge.tool.token.*;
import java.security.cert.CertificateException;
import java.util.*;
import java.util.concurrent.Callable;
import java.util.stream.*;

/**
 * Tries what a token offers: each key that is found, once for each of its uses; and each mechanism, with a key that is
 * created for it if that is wanted, else with the first that was found.
 */
public final class Examination {
    private final Token token;
    private final Template wanted;
    private final Report report;
    private List<Key> found;
    private final Map<List<Object>, Key> created = new HashMap<>();
    private final Set<Operation> attempted = new HashSet<>();
    private int logins;

    /**
     * Finds the keys on a token.
     *
     * @param wanted the attributes that narrow the keys and certificates to be tried
     */
    public Examination(Output output, Token token, Template wanted) {
        this.token = token;
        this.wanted = wanted;
        found = keys();
        report = new Report(output, token, found);
    }

    private List<Key> keys() {
        return Stream.of(CKO_PRIVATE_KEY, CKO_SECRET_KEY).flatMap(each -> search(each).stream()).map(Key::new)
            .collect(toList());
    }

    /** Returns the objects of a class, with other attributes, that are on the token and wanted. */
    private List<NativePKCS11Object> search(int objectClass, Object... attributes) {
        Template template = Template.of(CKA_CLASS, objectClass, CKA_TOKEN, true).and(attributes);
        return token.session.findObjects(template).stream().filter(token.session.findObjects(wanted)::contains)
            .collect(toList());
    }

    /** Tries everything; returns the exit status. Created objects are destroyed at the end, after an interrupt too. */
    public int run() {
        Runtime.getRuntime().addShutdownHook(new Thread(token::end));
        List<NativePKCS11Object> before = token.session.findObjects(Template.of(CKA_TOKEN, true));
        if (token.info().hasRandomNumberGenerator()) {
            report.trial("random bytes", null, null, this::random);
        }
        IntStream.range(0, found.size()).forEach(this::tryKey);
        List<NativePKCS11Object> certificates = search(CKO_CERTIFICATE, CKA_CERTIFICATE_TYPE, CKC_X_509);
        if (!certificates.isEmpty()) {
            report.operation("certificates", null, null, () -> read(certificates));
        }
        if (token.readWrite) {
            Operations.OBJECTS.forEach(each -> tryOperation(each, null, () -> null));
        }
        Operations.ALL.stream().filter(each -> each.isOffered(token)).forEach(this::tryMechanism);
        token.destroy(each -> true);
        report.trial("left as it was", null, null, () -> {
            List<NativePKCS11Object> after = token.session.findObjects(Template.of(CKA_TOKEN, true));
            require(after.size() == before.size() && (logins > 0 || after.containsAll(before)),
                "the token has other objects than before");
            return before.size() + " objects, the same as before";
        });
        return report.summary();
    }

    private String random() throws Verdict {
        byte[] bytes = new byte[24], others = new byte[24];
        token.session.generateRandom(bytes, 0, bytes.length);
        token.session.generateRandom(others, 0, others.length);
        require(!Arrays.equals(bytes, others), "the same bytes came twice");
        return "they differ from call to call";
    }

    /** Lets the JDK read certificates. */
    private static String read(List<NativePKCS11Object> certificates) throws CertificateException {
        for (NativePKCS11Object each : certificates) {
            each.toCertificate();
        }
        return "the JDK reads " + certificates.size();
    }

    /** Tries a key that was found, with the first mechanism for each of its uses that is there when it is called. */
    private void tryKey(int place) {
        List<Operation> fitting = Operations.ALL.stream().filter(each -> found.get(place).fits(each)
            && each.isOffered(token)).collect(toList());
        Map<Use, String> results = new HashMap<>();
        for (Operation operation : fitting) {
            boolean isDone = !results.getOrDefault(operation.use, NOT_OFFERED).equals(NOT_OFFERED);
            if (!isDone && (token.write || !operation.use.createsObjects())) {
                results.put(operation.use, tryFound(operation, place));
            }
        }
        if (results.isEmpty()) {
            report.trial("key", null, found.get(place).name(), () -> {
                requireToTry(false, fitting.isEmpty() ? "the token offers no mechanism for its permitted uses"
                    : "its permitted uses create objects: that is tried with --write");
                return null;
            });
        }
        report.keysTried += List.of(NOT_OFFERED, NOT_TRIED).containsAll(results.values()) ? 0 : 1;
    }

    private String tryFound(Operation operation, int place) {
        return tryOperation(operation, found.get(place).name(), () -> found.get(place));
    }

    private void tryMechanism(Operation operation) {
        Use use = operation.use;
        KeyKind kind = operation.kind;
        String reason = "there is no key for them; one is created with --write";
        if (use.createsObjects() && !token.write) {
            report.untried.replace(operation.name(), "they create objects: that is tried with --write");
            return;
        } else if (use.attribute == 0) {
            tryOperation(operation, null, () -> use == Use.PAIR ? created(kind, permitted(kind)) : null);
            return;
        } else if (token.write) {
            try {
                created(kind, use);
                tryOperation(operation, kind.title, () -> created(kind, use));
                return;
            } catch (PKCS11Exception e) {
                reason = "no key could be created for them (" + Failure.method(e) + ": " + e.getMessage() + ")";
            }
        }
        OptionalInt first = IntStream.range(0, found.size()).filter(i -> found.get(i).fits(operation)).findFirst();
        if (first.isEmpty()) {
            report.untried.replace(operation.name(), reason);
        } else if (!attempted.contains(operation)) {
            tryFound(operation, first.getAsInt());
        }
    }

    /** Returns a key for a use, created at its first use: some tokens reject combinations of uses. */
    private Key created(KeyKind kind, Use use) {
        return created.computeIfAbsent(List.of(kind, use.attribute), each -> kind.create(token, use));
    }

    /** Returns a use that the token offers for a kind of key pair; a use without a permission if it offers none. */
    private Use permitted(KeyKind kind) {
        return Operations.ALL.stream().filter(each -> each.kind == kind && each.use != Use.PAIR
            && each.isOffered(token)).map(each -> each.use).findFirst().orElse(Use.PAIR);
    }

    private String tryOperation(Operation operation, String keyName, Callable<Key> key) {
        attempted.add(operation);
        return report.operation(operation.use.title, operation.name(), keyName, () -> {
            try {
                return attempt(operation, key.call());
            } catch (PKCS11Exception e) {
                if (e.getCode() != CKR_USER_NOT_LOGGED_IN) {
                    throw e;
                }
                requireToTry(token.isLoggedIn(), "it requires a login: that is tried with --login");
                created.clear();
                token.destroy(each -> true);
                token.loginAgain();
                List<Key> again = keys(); // their handles may have changed
                found = again.size() == found.size() ? again : found;
                logins++;
                return attempt(operation, key.call());
            }
        });
    }

    private String attempt(Operation operation, Key key) throws Exception {
        try (Attempt attempt = new Attempt(token, operation, key)) {
            return operation.use.trial.run(attempt);
        }
    }
}
