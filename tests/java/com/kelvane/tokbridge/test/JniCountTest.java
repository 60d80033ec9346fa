package com.kelvane.tokbridge.test;

import static org.junit.jupiter.api.Assertions.*;
import static org.junit.jupiter.api.Assumptions.*;

import com.kelvane.pkcs11.nat.*;
import java.util.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.function.Executable;

/** How many JNI calls the native methods make. */
class JniCountTest extends SessionFixture {
    private static final String BRIDGE = System.getProperty("tokbridge.library");

    /** The JNI calls of all calls together. One more in one of them is noticed; fewer lower it. */
    private static final int MOST = 3745;

    /** One row of the table that {@code ./dev bench --calls} prints. */
    private static String row(String name, JniSpy.Report seen) {
        Map<String, Integer> counts = new TreeMap<>(seen.fallible);
        counts.putAll(seen.infallible);
        counts.values().removeIf(count -> count == 0);
        String functions = counts.entrySet().stream()
            .sorted(Comparator.comparing((Map.Entry<String, Integer> each) -> -each.getValue())
                .thenComparing(Map.Entry::getKey))
            .map(each -> each.getKey() + (each.getValue() > 1 ? " " + each.getValue() : ""))
            .collect(Collectors.joining(", "));
        int total = counts.values().stream().mapToInt(Integer::intValue).sum();
        return "| `" + name + "` | " + total + " | " + functions + " |";
    }

    private String measured(String name, ScriptedToken module, Executable call) throws Throwable {
        JniSpy.watch(BRIDGE, "", 0, false, module.path());
        JniSpy.Report seen;
        try {
            call.execute();
        } finally {
            seen = JniSpy.unwatch();
        }
        return row(name, seen);
    }

    private List<String> table() throws Throwable {
        initialize(false);
        List<String> rows = new ArrayList<>();
        ScriptedToken module = ScriptedToken.copy();
        NativePKCS11 holder = new NativePKCS11();
        rows.add(measured("C_GetFunctionList", module, () -> holder.load(module.path())));
        rows.add(measured("C_Initialize", module, holder::libInitialize));
        rows.add(measured("C_Finalize", module, holder::libFinalize));
        for (String name : Calls.names().collect(Collectors.toList())) {
            token.reset().always("C_FindObjects", "objects=5");
            rows.add(measured(name, token, () -> Calls.to(name).make(library, slot, session)));
        }
        return rows;
    }

    @Test
    void noCallIsAddedUnnoticed() throws Throwable {
        assumeFalse(Boolean.getBoolean("tokbridge.test.checked") || ScriptedToken.WIDE);
        int made = table().stream().mapToInt(row -> Integer.parseInt(row.split(" \\| ")[1])).sum();
        assertEquals(MOST, Math.max(made, MOST), "./dev bench --calls prints the table");
        assertTrue(made > MOST - 10, made + " are fewer than " + MOST);
    }

    /** Prints the table. */
    public static void main(String[] arguments) throws Throwable {
        JniCountTest test = new JniCountTest();
        test.openSession();
        test.table().forEach(System.out::println);
        test.finalizeLibrary();
    }
}
