package com.kelvane.pkcs11.nat;

import java.io.IOException;
import java.io.InputStream;
import java.nio.file.DirectoryIteratorException;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.attribute.AclEntry;
import java.nio.file.attribute.AclEntryFlag;
import java.nio.file.attribute.AclEntryPermission;
import java.nio.file.attribute.AclEntryType;
import java.nio.file.attribute.FileAttribute;
import java.nio.file.attribute.PosixFilePermissions;
import java.nio.file.attribute.UserPrincipal;
import java.util.EnumSet;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * The native library as the jar brings it, one file for each system and processor. It is written into a directory that
 * is made for it alone, loaded, and removed again: at once, or where the system keeps a file that is loaded, as Windows
 * does, when a later process loads its own.
 */
final class PackedLibrary {
    private static final String TEMPORARY = "java.io.tmpdir";
    private static final String ELSEWHERE = "; name another directory: -D" + TEMPORARY + "=/a/directory";
    private static final String INSTEAD = "; build one and name it: -D" + NativeLibrary.PROPERTY + "=/path/of/library";

    /** A directory's name: the library's, the process id, and a unique suffix. */
    private static final Pattern DIRECTORY = Pattern.compile(NativeLibrary.NAME + "-(\\d{1,18})-.*");

    private static final int STICKY = 01000;
    private static final int WRITABLE_BY_GROUP = 0020;
    private static final int WRITABLE_BY_OTHERS = 0002;

    /** Nothing to build: the methods are static. */
    private PackedLibrary() {
    }

    /**
     * Loads the library.
     *
     * @throws UnsatisfiedLinkError saying why not, and what to set
     */
    static void load() {
        String file = System.mapLibraryName(NativeLibrary.NAME);
        String platform = platform();
        String parent = System.getProperty(TEMPORARY);
        try (InputStream packed = PackedLibrary.class.getResourceAsStream(platform + "/" + file)) {
            if (packed == null) {
                throw new UnsatisfiedLinkError("the jar has no library for " + platform + INSTEAD);
            }
            if (parent == null) {
                throw new UnsatisfiedLinkError(TEMPORARY + " is unset" + ELSEWHERE);
            }
            Path directory = makeDirectory(Path.of(parent).toRealPath());
            try {
                load(packed, directory.resolve(file));
            } finally {
                if (!remove(directory)) {
                    removeOthers(directory);
                }
            }
        } catch (IOException | IllegalArgumentException e) {
            throw new UnsatisfiedLinkError("cannot write to " + TEMPORARY + " = " + parent + " (" + e + ")"
                + ELSEWHERE);
        }
    }

    /** The running system and processor, as directories of the jar name them. */
    private static String platform() {
        String processor = System.getProperty("os.arch");
        return System.getProperty("os.name").replaceFirst(" .*", "").toLowerCase(Locale.ROOT) + "-"
            + (processor.equals("amd64") ? "x86_64" : processor);
    }

    private static void load(InputStream packed, Path library) throws IOException {
        Path unsafe = replaceable(library.getParent());
        if (unsafe != null) {
            throw new UnsatisfiedLinkError("another user could put a file of his own in the library's place, by the"
                + " owner or the rights of " + unsafe + ELSEWHERE);
        }
        Files.copy(packed, library);
        try {
            System.load(library.toString());
        } catch (UnsatisfiedLinkError e) {
            boolean mayRun = library.toFile().setExecutable(true) && Files.isExecutable(library);
            throw new UnsatisfiedLinkError(!mayRun ? "no file may be run in " + TEMPORARY + " = "
                + library.getParent().getParent() + ", which is mounted noexec" + ELSEWHERE
                : runsOnMusl() ? "the C library of this system is musl, and the jar's library is for glibc" + INSTEAD
                : e.getMessage() + INSTEAD);
        }
    }

    private static boolean runsOnMusl() {
        try {
            return Files.readString(Path.of("/proc/self/maps")).contains("/ld-musl-");
        } catch (IOException e) {
            return false;
        }
    }

    // ---- The directory ----

    /** Creates a directory with access for its owner alone. */
    private static Path makeDirectory(Path parent) throws IOException {
        FileAttribute<?> rights;
        if (parent.getFileSystem().supportedFileAttributeViews().contains("posix")) {
            rights = PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rwx------"));
        } else {
            UserPrincipal user = parent.getFileSystem().getUserPrincipalLookupService()
                .lookupPrincipalByName(System.getProperty("user.name"));
            List<AclEntry> entries = List.of(AclEntry.newBuilder().setType(AclEntryType.ALLOW).setPrincipal(user)
                .setPermissions(EnumSet.allOf(AclEntryPermission.class))
                .setFlags(AclEntryFlag.FILE_INHERIT, AclEntryFlag.DIRECTORY_INHERIT).build());
            rights = new FileAttribute<List<AclEntry>>() {
                @Override
                public String name() {
                    return "acl:acl";
                }

                @Override
                public List<AclEntry> value() {
                    return entries;
                }
            };
        }
        String name = NativeLibrary.NAME + "-" + ProcessHandle.current().pid() + "-";
        return Files.createTempDirectory(parent, name, rights);
    }

    /**
     * Looks for a directory on the way to this one where another user could put something else in the place of the
     * next. Trusted are the user and the system's own, and a group that is named like the owner, which has no other
     * member.
     *
     * @return that directory; null for none, or on a system without such rights
     */
    private static Path replaceable(Path directory) throws IOException {
        if (!directory.getFileSystem().supportedFileAttributeViews().contains("unix")) {
            return null;
        }
        Object user = Files.getAttribute(directory, "unix:uid");
        Object system = Files.getAttribute(directory.getRoot(), "unix:uid");
        for (Path each = directory.getParent(); each != null; each = each.getParent()) {
            Map<String, Object> rights = Files.readAttributes(each, "unix:mode,uid,owner,group");
            Object owner = rights.get("uid");
            int mode = (Integer) rights.get("mode");
            if (rights.get("owner").toString().equals(rights.get("group").toString())) {
                mode &= ~WRITABLE_BY_GROUP;
            }
            boolean writable = (mode & STICKY) == 0 && (mode & (WRITABLE_BY_GROUP | WRITABLE_BY_OTHERS)) != 0;
            if (writable || !owner.equals(user) && !owner.equals(system)) {
                return each;
            }
        }
        return null;
    }

    /** Removes a directory with the library in it, and nothing else; whether it has gone. */
    private static boolean remove(Path directory) {
        try {
            Files.deleteIfExists(directory.resolve(System.mapLibraryName(NativeLibrary.NAME)));
            Files.deleteIfExists(directory);
            return true;
        } catch (IOException e) {
            return false;
        }
    }

    /** Removes what the system kept of this user's processes that have ended. */
    private static void removeOthers(Path own) {
        try (DirectoryStream<Path> others = Files.newDirectoryStream(own.getParent(), NativeLibrary.NAME + "-*")) {
            UserPrincipal user = Files.getOwner(own);
            for (Path each : others) {
                Matcher name = DIRECTORY.matcher(each.getFileName().toString());
                if (name.matches() && ProcessHandle.of(Long.parseLong(name.group(1))).isEmpty()
                    && Files.isDirectory(each, LinkOption.NOFOLLOW_LINKS)
                    && Files.getOwner(each, LinkOption.NOFOLLOW_LINKS).equals(user)) {
                    remove(each);
                }
            }
        } catch (IOException | DirectoryIteratorException e) {
            return; // the next process tries again
        }
    }
}
