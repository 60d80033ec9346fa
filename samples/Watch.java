import com.kelvane.pkcs11.PKCS11Constants;
import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.nat.NativePKCS11;
import java.util.Set;
import java.util.TreeSet;
import java.util.concurrent.atomic.AtomicBoolean;

/**
 * Prints tokens that come and go, until a line is entered. It polls every second instead of blocking in the module: not
 * every module reports events, and a blocking wait ends only with the library and may block other threads.
 */
public final class Watch {
    private static final AtomicBoolean STOPPED = new AtomicBoolean();

    public static void main(String[] arguments) throws Exception {
        try (NativePKCS11 library = new NativePKCS11()) {
            library.load(arguments[0]);
            library.libInitialize();
            Thread watcher = new Thread(() -> watch(library));
            watcher.start();
            System.in.read();
            STOPPED.set(true);
            watcher.interrupt();
            watcher.join(); // before the library is closed
        }
        System.out.println("No longer watching.");
    }

    private static void watch(NativePKCS11 library) {
        Set<String> known = new TreeSet<>();
        while (!STOPPED.get()) {
            Set<String> present = present(library);
            present.stream().filter(token -> !known.contains(token)).forEach(token -> System.out.println("+ " + token));
            known.stream().filter(token -> !present.contains(token)).forEach(token -> System.out.println("- " + token));
            known.clear();
            known.addAll(present);
            try {
                Thread.sleep(1000);
            } catch (InterruptedException e) {
                return;
            }
        }
    }

    private static Set<String> present(NativePKCS11 library) {
        Set<String> tokens = new TreeSet<>();
        for (PKCS11Slot slot : library.getSlotList(true)) {
            try {
                tokens.add(slot.getTokenInfo().getLabel() + " " + slot.getTokenInfo().getSerialNumber());
            } catch (PKCS11Exception e) {
                if (e.getCode() != PKCS11Constants.CKR_TOKEN_NOT_PRESENT) { // removed since the list was read
                    throw e;
                }
            }
        }
        return tokens;
    }
}
