import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import java.util.concurrent.ConcurrentLinkedQueue;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;

/** Works in a pool of threads, each with a session of its own: an operation belongs to its session. */
public final class Pool {
    private static final int THREADS = 4, TASKS = 100;

    public static void main(String[] arguments) throws Exception {
        String module = arguments[0], token = arguments[1], pin = System.getenv("TOKEN_PIN");
        if (pin == null || pin.isEmpty()) { // null means the token's PIN pad, an empty PIN counts as wrong
            throw new IllegalStateException("TOKEN_PIN is not set");
        }
        try (NativePKCS11 library = new NativePKCS11()) {
            library.load(module);
            library.libInitialize();
            PKCS11Slot slot = library.findSlot(token)
                .orElseThrow(() -> new IllegalArgumentException("there is no token " + token));
            ConcurrentLinkedQueue<NativePKCS11Session> opened = new ConcurrentLinkedQueue<>();
            ThreadLocal<NativePKCS11Session> own = ThreadLocal.withInitial(() -> {
                NativePKCS11Session session = slot.openSession(CKF_SERIAL_SESSION, null);
                opened.add(session);
                return session;
            });
            try (NativePKCS11Session first = slot.openSession(CKF_SERIAL_SESSION, null)) {
                first.login(false, pin); // counts for all sessions with the token
                ExecutorService pool = Executors.newFixedThreadPool(THREADS);
                List<Future<String>> results = new ArrayList<>();
                for (int i = 0; i < TASKS; i++) {
                    byte[] data = {(byte) i};
                    results.add(pool.submit(() -> Arrays.toString(own.get().digest(CKM_SHA256, null, data))));
                }
                Set<String> distinct = new HashSet<>();
                for (Future<String> result : results) {
                    distinct.add(result.get());
                }
                pool.shutdown();
                System.out.println(distinct.size() + " digests from " + opened.size() + " sessions.");
                opened.forEach(NativePKCS11Session::close); // when no thread uses them any more
            }
        }
    }
}
