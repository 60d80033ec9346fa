package com.kelvane.tokbridge.test;

import static org.junit.jupiter.api.Assertions.*;
import static org.junit.jupiter.api.Assumptions.*;

import java.io.*;
import java.net.*;
import java.nio.channels.*;
import java.nio.charset.*;
import java.nio.file.*;
import java.nio.file.attribute.*;
import java.util.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;

/** The native library in the jar: how it is loaded and removed, and the messages when it cannot be loaded. */
class JarTest {
    private final Path temporary = Files.createTempDirectory("jar");

    JarTest() throws IOException { }

    /** Runs a program of this class where the library is only in the jar. */
    private String run(Class<?> program, String property, String... before) throws Exception {
        String path = String.join(File.pathSeparator, System.getProperty("java.class.path"),
            System.getProperty("tokbridge.test.packed"), temporary.toString());
        List<String> command = new ArrayList<>(List.of(before));
        Collections.addAll(command, Path.of(System.getProperty("java.home"), "bin", "java").toString(),
            "--enable-native-access=ALL-UNNAMED", "-Djava.library.path=/none", "-Djava.io.tmpdir=" + temporary,
            "-D" + property, "-cp", path, program.getName());
        return Programs.outcome(new ProcessBuilder(command).redirectError(ProcessBuilder.Redirect.INHERIT)
            .directory(temporary.toFile()).start());
    }

    private Set<String> files() throws IOException {
        try (Stream<Path> found = Files.walk(temporary)) {
            return found.map(each -> temporary.relativize(each).toString())
                .collect(Collectors.toCollection(TreeSet::new));
        }
    }

    /** Creates an object, and prints its error. */
    static final class First {
        public static void main(String[] arguments) {
            try {
                new com.kelvane.pkcs11.nat.NativePKCS11();
            } catch (UnsatisfiedLinkError e) {
                System.out.println(e.getMessage());
            }
        }
    }

    /** The same with a file mapped whose name is that of another C library. */
    static final class OnMusl {
        public static void main(String[] arguments) throws IOException {
            try (FileChannel library = FileChannel.open(Path.of("ld-musl-x86_64.so.1"))) {
                library.map(FileChannel.MapMode.READ_ONLY, 0, 1);
            }
            First.main(arguments);
        }
    }

    @Test
    void theLibraryIsLoadedOrTheMessageNamesARemedy() throws Exception {
        Path open = Files.createDirectory(temporary.resolve("open"));
        Files.setPosixFilePermissions(open, PosixFilePermissions.fromString("rwxrwxrwx"));
        Path below = Files.createDirectory(open.resolve("below"));
        Path broken = Files.createDirectories(temporary.resolve("com/kelvane/pkcs11/nat/linux-broken"));
        String lacking = Files.readString(Path.of(System.getProperty("tokbridge.library")), StandardCharsets.ISO_8859_1)
            .replace("libc.so.6", "libx.so.6");
        Files.writeString(broken.resolve(System.mapLibraryName("tokbridge")), lacking, StandardCharsets.ISO_8859_1);
        Files.writeString(temporary.resolve("ld-musl-x86_64.so.1"), "musl");
        Set<String> before = files();
        String[][] outcomes = {{"java.io.tmpdir=" + temporary, ""}, {"java.io.tmpdir=.", ""},
            {"java.io.tmpdir=none", "cannot write to java.io.tmpdir = none .*: -Djava.io.tmpdir=.*\n"},
            {"java.io.tmpdir=" + open, "another user .* " + open + "; .*: -Djava.io.tmpdir=.*\n"},
            {"java.io.tmpdir=" + below, "another user .* " + open + "; .*: -Djava.io.tmpdir=.*\n"},
            {"os.arch=pdp11", "the jar has no library for linux-pdp11.*: -Dtokbridge.library=.*\n"},
            {"os.arch=broken", ".*libx.so.6: cannot open.*: -Dtokbridge.library=.*\n"},
            {"os.arch=broken", "the C library of this system is musl.*: -Dtokbridge.library=.*\n", "musl"}};
        for (String[] each : outcomes) {
            String output = run(each.length == 3 ? OnMusl.class : First.class, each[0]);
            assertTrue(output.matches("(cannot load the native library: )?" + each[1] + "exit 0"), output);
        }
        assertEquals(before, files());
    }

    /** Only directories of root and of the user himself are trusted. */
    @Test
    void directoriesOfOtherUsersAreRefused() throws Exception {
        String[] nobody = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
        List<String> test = new ArrayList<>(List.of(nobody));
        Collections.addAll(test, "test", "-r", System.getProperty("tokbridge.test.packed"));
        assumeTrue(Programs.outcome(new ProcessBuilder(test).start()).equals("exit 0"), "not root");
        for (Path each = temporary.toRealPath(); Files.getOwner(each.getParent()).getName().equals("root")
            && !each.getParent().equals(each.getRoot()); each = each.getParent()) {
            Set<PosixFilePermission> rights = Files.getPosixFilePermissions(each);
            rights.addAll(PosixFilePermissions.fromString("r-xr-xr-x"));
            Files.setPosixFilePermissions(each, rights);
        }
        Path own = Files.createDirectory(temporary.resolve("own"));
        Path other = Files.createDirectory(temporary.resolve("other"));
        Files.setAttribute(own, "unix:uid", 65534);
        Files.setAttribute(other, "unix:uid", 65533);
        Files.setPosixFilePermissions(other, PosixFilePermissions.fromString("rwxr-xr-x"));
        Path below = Files.createDirectory(other.resolve("below"));
        Files.setAttribute(below, "unix:uid", 65534);
        assertEquals("exit 0", run(First.class, "java.io.tmpdir=" + own, nobody));
        for (String[] user : new String[][] {nobody, {}}) {
            String output = run(First.class, "java.io.tmpdir=" + below, user);
            assertTrue(output.contains("another user")
                && output.contains(" of " + (user == nobody ? other : below)), output);
        }
    }

    /** Loads it in two class loaders. A file in the second one's directory keeps that from being removed. */
    static final class Twice {
        public static void main(String[] arguments) throws Exception {
            List<URL> path = new ArrayList<>();
            for (String each : System.getProperty("java.class.path").split(File.pathSeparator)) {
                path.add(Path.of(each).toUri().toURL());
            }
            String own = "tokbridge-" + ProcessHandle.current().pid() + "-";
            for (boolean keep : new boolean[] {false, true}) {
                ClassLoader parent = ClassLoader.getPlatformClassLoader();
                ClassLoader loader = new URLClassLoader(path.toArray(new URL[0]), parent) {
                    @Override
                    public InputStream getResourceAsStream(String name) {
                        return new FilterInputStream(super.getResourceAsStream(name)) {
                            @Override
                            public int read(byte[] to, int offset, int length) throws IOException {
                                for (File each : new File(System.getProperty("java.io.tmpdir")).listFiles()) {
                                    if (keep && each.getName().startsWith(own)) {
                                        new File(each, "kept").createNewFile();
                                    }
                                }
                                return super.read(to, offset, length);
                            }
                        };
                    }
                };
                Class.forName("com.kelvane.pkcs11.nat.NativePKCS11", true, loader).getConstructor().newInstance();
            }
        }
    }

    @Test
    void filesOfEndedProcessesAreRemoved() throws Exception {
        Process ended = new ProcessBuilder("true").start();
        ended.waitFor();
        for (String each : List.of(ended.pid() + "-1", ProcessHandle.current().pid() + "-1", "x", "elsewhere")) {
            Files.createFile(Files.createDirectory(temporary.resolve("tokbridge-" + each))
                .resolve(System.mapLibraryName("tokbridge")));
        }
        Files.createSymbolicLink(temporary.resolve("tokbridge-" + ended.pid() + "-2"),
            temporary.resolve("tokbridge-elsewhere"));
        Set<String> expected = files();
        expected.removeIf(each -> each.startsWith("tokbridge-" + ended.pid() + "-1"));
        assertEquals("exit 0", run(Twice.class, "unused="));
        Set<String> left = files();
        String kept = left.stream().filter(each -> each.endsWith("/kept")).findFirst().orElseThrow();
        expected.addAll(List.of(kept, kept.replace("/kept", "")));
        assertEquals(expected, left);
    }
}
