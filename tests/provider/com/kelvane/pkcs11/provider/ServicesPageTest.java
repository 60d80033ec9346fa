package com.kelvane.pkcs11.provider;

import static org.junit.jupiter.api.Assertions.*;
import static org.junit.jupiter.api.Assumptions.*;

import com.kelvane.pkcs11.*;
import java.nio.file.*;
import java.security.*;
import java.util.stream.*;
import org.junit.jupiter.api.*;

/** The table of docs/provider.md, made from the rows of the services. Where it differs, the new one is in a file. */
class ServicesPageTest {
    private static final int JDK = 17; // whose own provider the page compares with

    @Test
    void thePageHasTheTable() throws Exception {
        assumeTrue(Runtime.version().feature() == JDK, "the page is about JDK " + JDK);
        Class.forName("com.kelvane.tokbridge.provider.test.Tokens"); // which makes the token
        String module = System.getProperty("tokbridge.test.softhsm");
        Provider ours = new TokbridgeProvider().configure("pkcs11:token=the%20token?module-path=" + module);
        int slot = Module.at(module).library().findSlot("the token").orElseThrow().getSlotID();
        Provider theirs = Security.getProvider("SunPKCS11")
            .configure("--name=Page\nlibrary=" + module + "\nslot=" + slot);
        String table = Services.ROWS.stream().map(row -> String.format("| %s | %s | %s | %s | %s |\n", row.type,
            Stream.concat(Stream.of(row.algorithm), row.aliases.stream()).map(name -> "`" + name + "`")
                .collect(Collectors.joining(", ")),
            row.mechanisms.stream().map(each -> "`" + PKCS11Constants.nameOf("CKM_", each) + "`")
                .collect(Collectors.joining(", ")),
            mark(ours, row), mark(theirs, row))).collect(Collectors.joining());
        String page = Files.readString(Path.of(System.getProperty("tokbridge.test.docs"), "provider.md"));
        Path made = Path.of(System.getProperty("tokbridge.test.scratch"), "services.md");
        Files.writeString(made, table);
        assertTrue(page.contains("|---|---|---|---|---|\n" + table + "\n"), "the table is now that of " + made);
    }

    private static String mark(Provider provider, Services.Row row) {
        return provider.getService(row.type, row.algorithm) == null ? "" : "yes";
    }
}
