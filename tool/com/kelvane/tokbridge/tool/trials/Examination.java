package com.kelvane.tokbridge.tool.trials;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static com.kelvane.tokbridge.tool.trials.Verdict.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.tokbridge.tool.token.*;
import java.security.cert.CertificateException;
import java.util.*;
import java.util.concurrent.Callable;
import java.util.stream.Collectors;

/**
 * Tries what a token offers: each key that is found, once for each of its uses; and each mechanism, with a key that is
 * created for it if that is wanted, else with the first that was found.
 */
public final class Examination {
    /** Runs a trial, which returns what a good result was compared with, and reports it; returns the result. */
    public interface Report {
        /** A mechanism or key is null for none. */
        String trial(String title, String mechanism, String key, Callable<String> trial);
    }

    private final Token token;
    private final Template wanted;
    private final List<FoundKey> found = new ArrayList<>();

    /** The keys that were created, or the token's refusals, by kind and permission. */
    private final Map<List<Object>, Object> created = new HashMap<>();

    private final Set<Operation> attempted = new HashSet<>();
    private Report report;
    private int logins;

    /** The mechanisms that were not tried, and why, and those that were tried. */
    public final Map<String, String> untried = new LinkedHashMap<>();
    public final Set<String> tried = new HashSet<>();

    /** The number of found keys that were tried, and of operations that work. */
    public int keysTried, works;

    /**
     * Finds the keys on a token.
     *
     * @param wanted the attributes that narrow the keys and certificates to be tried
     */
    public Examination(Token token, Template wanted) {
        this.token = token;
        this.wanted = wanted;
        for (int objectClass : new int[] {CKO_PRIVATE_KEY, CKO_SECRET_KEY}) {
            List<NativePKCS11Object> objects = search(objectClass);
            for (int i = 0; i < objects.size(); i++) {
                found.add(new FoundKey(objectClass, i, objects.get(i)));
            }
        }
    }

    /** Returns the objects of a class, with other attributes, that are on the token and wanted. */
    private List<NativePKCS11Object> search(int objectClass, Object... attributes) {
        int at = Arrays.stream(wanted.getTypes()).boxed().collect(Collectors.toList()).indexOf(CKA_CLASS);
        Template ofClass = at < 0 ? wanted.and(CKA_CLASS, objectClass) : wanted;
        return at >= 0 && !wanted.getValues()[at].equals(objectClass) ? List.of()
            : token.session.findObjects(ofClass.and(CKA_TOKEN, true).and(attributes));
    }

    /** Returns the names of the keys that were found. */
    public List<String> keyNames() {
        return found.stream().map(FoundKey::name).collect(Collectors.toList());
    }

    /** Tries everything. Created objects are destroyed at the end, after an interrupt too. */
    public void run(Report with) {
        report = with;
        Runtime.getRuntime().addShutdownHook(new Thread(token::end));
        List<NativePKCS11Object> before = token.session.findObjects(Template.of(CKA_TOKEN, true));
        for (int mechanism : token.mechanisms()) {
            untried.put(nameOf("CKM_", mechanism), "this program does not try them");
        }
        if (token.info().hasRandomNumberGenerator()) {
            report.trial("random bytes", null, null, this::random);
        }
        found.forEach(this::tryKey);
        List<NativePKCS11Object> certificates = search(CKO_CERTIFICATE, CKA_CERTIFICATE_TYPE, CKC_X_509);
        if (!certificates.isEmpty()) {
            count(report.trial("certificates", null, null, () -> read(certificates)));
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
    }

    private String count(String result) {
        works += result.equals(WORKS) ? 1 : 0;
        return result;
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

    /** Tries a key that was found, with the first mechanism for each of its uses. */
    private void tryKey(FoundKey key) {
        List<Operation> fitting = Operations.ALL.stream().filter(each -> key.fits(each) && each.isOffered(token))
            .collect(Collectors.toList());
        Set<Use> done = new HashSet<>();
        Set<String> results = new HashSet<>();
        for (Operation operation : fitting) {
            if (!done.contains(operation.use) && (token.write || !operation.use.createsObjects)) {
                String result = tryFound(operation, key);
                results.add(result);
                if (!result.equals(NOT_OFFERED)) { // else the next mechanism may be there
                    done.add(operation.use);
                }
            }
        }
        if (results.isEmpty()) {
            report.trial("key", null, key.name(), () -> {
                throw new Verdict(NOT_TRIED, fitting.isEmpty()
                    ? "the token offers no mechanism for its permitted uses"
                    : "its permitted uses create objects: that is tried with --write");
            });
        }
        keysTried += List.of(NOT_OFFERED, NOT_TRIED).containsAll(results) ? 0 : 1;
    }

    private String tryFound(Operation operation, FoundKey key) {
        return tryOperation(operation, key.name(), () -> key.resolve(search(key.objectClass).get(key.place)));
    }

    private void tryMechanism(Operation operation) {
        Use use = operation.use;
        KeyKind kind = operation.kind;
        String reason = "there is no key for them; one is created with --write";
        if (use.createsObjects && !token.write) {
            untried.replace(operation.name(), "they create objects: that is tried with --write");
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
        FoundKey first = found.stream().filter(each -> each.fits(operation)).findFirst().orElse(null);
        if (first == null) {
            untried.replace(operation.name(), reason);
        } else if (!attempted.contains(operation)) {
            tryFound(operation, first);
        }
    }

    /** Returns a key for a use, created at its first use: some tokens reject combinations of uses. */
    private Key created(KeyKind kind, Use use) {
        Object key = created.computeIfAbsent(List.of(kind, use.attribute), place -> {
            try {
                return kind.create(token, use);
            } catch (PKCS11Exception e) {
                return e;
            }
        });
        if (key instanceof PKCS11Exception) {
            throw (PKCS11Exception) key;
        }
        return (Key) key;
    }

    /** Returns a use that the token offers for a kind of key pair; a use without a permission if it offers none. */
    private Use permitted(KeyKind kind) {
        return Operations.ALL.stream().filter(each -> each.kind == kind && each.use != Use.PAIR
            && each.isOffered(token)).map(each -> each.use).findFirst().orElse(Use.PAIR);
    }

    private String tryOperation(Operation operation, String keyName, Callable<Key> key) {
        attempted.add(operation);
        untried.remove(operation.name());
        String result = count(report.trial(operation.use.title, operation.name(), keyName, () -> {
            try {
                return attempt(operation, key.call());
            } catch (PKCS11Exception e) {
                if (e.getCode() != CKR_USER_NOT_LOGGED_IN) {
                    throw e;
                } else if (!token.isLoggedIn()) {
                    throw new Verdict(NOT_TRIED, "it requires a login: that is tried with --login");
                }
                created.clear();
                token.destroy(each -> true);
                token.loginAgain();
                logins++;
                return attempt(operation, key.call());
            }
        }));
        if (operation.name() != null && !result.equals(NOT_TRIED)) {
            tried.add(operation.name());
        }
        return result;
    }

    private String attempt(Operation operation, Key key) throws Exception {
        try (Attempt attempt = new Attempt(token, operation, key)) {
            return operation.use.trial.run(attempt);
        }
    }
}
