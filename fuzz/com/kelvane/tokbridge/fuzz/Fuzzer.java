package com.kelvane.tokbridge.fuzz;

import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.nat.NativePKCS11;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.pkcs11.nat.NativePKCS11Session;
import com.kelvane.pkcs11.nat.NativePKCS11Slot;
import java.lang.reflect.Field;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.TreeMap;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/**
 * Calls the native methods with random receivers and arguments. Whatever it passes, a call may end in a result, in a
 * {@link PKCS11Exception}, or in an error that the arguments' own methods or the virtual machine's memory raise; any
 * other outcome, and a bridge lock that is not free afterwards, is a fault. One fuzzer belongs to one thread; the same
 * seed makes the same calls, apart from what other threads change in the arrays meanwhile.
 */
public final class Fuzzer {
    /** What may be done to the module between two calls. */
    public interface Module {
        /**
         * Lets the module misbehave in the coming call.
         *
         * @param random where to take decisions from
         */
        void prepare(Random random);
    }

    private static final List<Class<?>> CLASSES = List.of(NativePKCS11.class, NativePKCS11Slot.class,
        NativePKCS11Session.class, NativePKCS11Object.class);
    private static final List<Method> METHODS = CLASSES.stream()
        .flatMap(type -> Arrays.stream(type.getDeclaredMethods()).sorted((a, b) -> a.getName().compareTo(b.getName())))
        .filter(method -> Modifier.isNative(method.getModifiers())).collect(Collectors.toUnmodifiableList());

    /** The path of this many bytes stops the process on purpose. */
    private static final int FATAL_PATH = 256;

    private final String module;
    private final Module misbehaviour;
    private final Random random;
    private final Arguments arguments;
    private final Map<String, Integer> outcomes = new TreeMap<>();
    private final Thread disturber;
    private volatile boolean closed;
    private NativePKCS11 library;

    /**
     * Builds a fuzzer for a module.
     *
     * @param module the module's path
     * @param misbehaviour what is done to the module before each call
     * @param seed the seed of all decisions
     */
    public Fuzzer(String module, Module misbehaviour, long seed) {
        this.module = module;
        this.misbehaviour = misbehaviour;
        random = new Random(seed);
        arguments = new Arguments(random);
        disturber = new Thread(() -> disturb(new Random(seed)), "disturber");
        disturber.start();
        load();
    }

    private void disturb(Random decisions) {
        while (!closed) {
            arguments.disturb(decisions);
            Thread.onSpinWait();
        }
    }

    /**
     * The native methods that are called.
     *
     * @return how many there are
     */
    public static int methods() {
        return METHODS.size();
    }

    /**
     * The calls so far by their outcome.
     *
     * @return the numbers of calls, by "result" or the name of the exception's class
     */
    public Map<String, Integer> outcomes() {
        return outcomes;
    }

    /** Makes one call; a fault is thrown as an AssertionError that names the call. */
    public void step() {
        Method method = METHODS.get(random.nextInt(METHODS.size()));
        NativePKCS11Session session = session();
        arguments.newCall(new NativePKCS11Object(session, random.nextInt(9)));
        Object[] values = Stream.of(method.getParameterTypes()).map(type -> argument(method, type)).toArray();
        Object receiver = receiver(method.getDeclaringClass(), session);
        misbehaviour.prepare(random);
        outcomes.merge(call(method, receiver, values), 1, Integer::sum);
        if (Thread.holdsLock(NativePKCS11.class)) {
            throw new AssertionError("the lock is still held after " + method);
        }
        if (library.getFunctionList() == 0) {
            load();
        }
    }

    /**
     * Gives the module back.
     *
     * @throws InterruptedException if the thread is interrupted meanwhile
     */
    public void close() throws InterruptedException {
        closed = true;
        disturber.join();
        library.libFinalize();
    }

    private void load() {
        library = new NativePKCS11();
        library.load(module);
        try {
            library.libInitialize();
        } catch (PKCS11Exception e) {
            outcomes.merge("refused initialisation", 1, Integer::sum);
        }
    }

    private String call(Method method, Object receiver, Object[] values) {
        try {
            Object result = method.invoke(receiver, values);
            if (method.getName().equals("loadPKCS11Library")) {
                release((Long) result);
            }
            return "result";
        } catch (InvocationTargetException e) {
            Throwable cause = e.getCause();
            if (cause instanceof PKCS11Exception || cause instanceof Arguments.Hostile
                || cause instanceof OutOfMemoryError) {
                return cause.getClass().getSimpleName();
            }
            throw new AssertionError(method + " with " + Arrays.deepToString(values), cause);
        } catch (IllegalAccessException e) {
            throw new AssertionError(e);
        }
    }

    /** Gives back what a successful load has counted. */
    private static void release(long list) {
        NativePKCS11 holder = new NativePKCS11();
        set(holder, "functionList", list);
        holder.libFinalize();
    }

    private NativePKCS11Session session() {
        int broken = random.nextInt(40); // one link in ten is broken
        NativePKCS11 root = broken == 0 ? null : broken == 1 ? new NativePKCS11() : library;
        NativePKCS11Slot slot = broken == 2 ? null : new NativePKCS11Slot(root, arguments.number());
        return broken == 3 ? null : new NativePKCS11Session(slot, random.nextInt(9));
    }

    private Object receiver(Class<?> type, NativePKCS11Session session) {
        NativePKCS11Slot slot = session == null ? null : session.getSlot();
        if (type == NativePKCS11Object.class) {
            return new NativePKCS11Object(session, random.nextInt(9));
        }
        if (type == NativePKCS11Session.class) {
            return session == null ? new NativePKCS11Session(null, 7) : session;
        }
        if (type == NativePKCS11Slot.class) {
            return slot == null ? new NativePKCS11Slot(null, 1) : slot;
        }
        return slot == null || slot.getPKCS11() == null ? new NativePKCS11() : slot.getPKCS11();
    }

    private Object argument(Method method, Class<?> type) {
        if (type == String.class) {
            int length = random.nextInt(600);
            return random.nextInt(4) == 0 ? module : random.nextInt(9) == 0 ? null
                : "/".repeat(length == FATAL_PATH ? 0 : length);
        }
        if (type == boolean.class) {
            // Waiting for ever is no fault.
            return random.nextBoolean() && !method.getName().equals("waitForSlotEvent");
        }
        return arguments.of(type);
    }

    private static void set(Object object, String name, Object value) {
        try {
            Field field = object.getClass().getDeclaredField(name);
            field.setAccessible(true);
            field.set(object, value);
        } catch (ReflectiveOperationException e) {
            throw new AssertionError(e);
        }
    }
}
