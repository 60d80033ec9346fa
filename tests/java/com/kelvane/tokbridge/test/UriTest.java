package com.kelvane.tokbridge.test;

import static com.kelvane.pkcs11.PKCS11Constants.*;
import static org.junit.jupiter.api.Assertions.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.*;
import java.nio.file.*;
import java.util.*;
import org.junit.jupiter.api.*;

/** PKCS #11 URIs: what they name, how they are written, and which part of a wrong one is named. */
class UriTest extends SessionFixture {
    @Test
    void namesSlotsAndObjects() {
        token.always("C_GetTokenInfo", "label='a b;c=d/\u00e9' manufacturerID='Maker' model='M' serialNumber='07'");
        token.always("C_GetSlotInfo", "slotDescription='S' manufacturerID='T'");
        token.always("C_GetAttributeValue", "0x0=0300000000000000 0x3='k ey/1' 0x102=01ab");
        PKCS11Uri uri = PKCS11Uri.of(slot.getTokenInfo());
        assertEquals("pkcs11:model=M;manufacturer=Maker;serial=07;token=a%20b%3Bc%3Dd%2F%C3%A9", uri.toString());
        PKCS11Uri key = uri.withObject(key(9).readAttributes(CKA_CLASS, CKA_LABEL, CKA_ID));
        assertEquals(uri + ";id=%01%AB;object=k%20ey%2F1;type=private", key.toString());
        assertEquals(uri + ";type=private", key.withObject(key(9).readAttributes(CKA_CLASS)).toString());

        PKCS11Uri parsed = PKCS11Uri.parse(key + "?pin-value=1234&module-path=/a/b%20c&pin-source=file:///run/p%25");
        assertEquals(key + "?module-path=/a/b%20c&pin-source=file:///run/p%25", parsed.toString(), "without the PIN");
        assertEquals("1234", parsed.get("pin-value"));
        assertEquals(Path.of("/run/p%"), parsed.pinFile());
        for (String file : List.of("/p", "file:/p", "file:///p", "FILE://localhost/p")) {
            assertEquals(Path.of("/p"), PKCS11Uri.parse("pkcs11:?pin-source=" + file).pinFile());
        }
        assertEquals("/a/b c", parsed.modulePath());
        assertTrue(parsed.matches(slot));
        session.findObjectsInit(parsed.objects());
        assertTrue(calls().toString().endsWith(":6b2065792f31 0x102@+78:01ab 0x0@+80:0300000000000000]]"));

        assertTrue(PKCS11Uri.parse("pkcs11:").matches(slot));
        for (String each : List.of("token=b", "serial=7", "slot-id=2", "model=", "slot-description=s")) {
            assertFalse(PKCS11Uri.parse("pkcs11:slot-manufacturer=T;" + each).matches(slot), each);
        }
    }

    @Test
    void errorsNameThePartThatIsWrong() {
        Map.of("token=x", "begin with pkcs11:", "pkcs11:tokne=x", "\"tokne\"", "pkcs11:token", "\"token\"",
            "pkcs11:token=%4", "\"%4\"", "pkcs11:token=%+1", "\"%+1\"", "pkcs11:token=a;token=b", "twice",
            "pkcs11:type=key", "\"type=key\"", "pkcs11:?token=a", "\"token\"", "pkcs11:;",
            "\"\"").forEach((text, named) -> {
                String message = assertThrows(IllegalArgumentException.class, () -> PKCS11Uri.parse(text)).getMessage();
                assertTrue(message.contains(named), message);
            });
        assertThrows(IllegalArgumentException.class, () -> PKCS11Uri.parse("pkcs11:?pin-source=|id").pinFile());
    }

    @Test
    void findsModulesByName() throws Exception {
        Path directory = Files.createDirectory(Harness.scratchFile(".d"));
        ScriptedToken.copy(directory.resolve("libone.so"));
        ScriptedToken.copy(directory.resolve("two.so"));
        for (String name : List.of("one", "libone.so", "two", "two.so")) {
            String uri = "pkcs11:?module-name=" + name + "&module-path=" + directory;
            assertEquals(NativePKCS11.findModule(name, directory).orElseThrow().toString(),
                PKCS11Uri.parse(uri).modulePath());
        }
        assertThrows(IllegalArgumentException.class,
            () -> PKCS11Uri.parse("pkcs11:?module-name=three&module-path=" + directory).modulePath());
        assertNull(PKCS11Uri.parse("pkcs11:").modulePath());
        assertTrue(NativePKCS11.findModule("softhsm2").isPresent(), "where Debian installs it");
    }
}
