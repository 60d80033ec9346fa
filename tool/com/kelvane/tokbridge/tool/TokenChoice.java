package com.kelvane.tokbridge.tool;

import com.kelvane.pkcs11.PKCS11Slot;
import com.kelvane.pkcs11.PKCS11TokenInfo;
import com.kelvane.pkcs11.nat.NativePKCS11;
import java.util.List;
import java.util.stream.Collectors;
import picocli.CommandLine.ITypeConverter;
import picocli.CommandLine.Option;
import picocli.CommandLine.TypeConversionException;

/** The token that the user names. */
final class TokenChoice {
    /** A slot's number as the tool writes it, or in decimal. */
    static final class SlotNumber implements ITypeConverter<Integer> {
        @Override
        public Integer convert(String text) {
            try {
                return text.startsWith("0x") ? Integer.parseUnsignedInt(text.substring(2), 16)
                    : Integer.parseUnsignedInt(text);
            } catch (NumberFormatException e) {
                throw new TypeConversionException("\"" + text + "\" is no slot's number");
            }
        }
    }

    @Option(names = "--token", paramLabel = "TEXT", description = "The token with this label or serial number, or the "
        + "one that this pkcs11: URI means (RFC 7512); not needed where there is one only.")
    private String text;

    @Option(names = "--slot", paramLabel = "NUMBER", converter = SlotNumber.class,
        description = "The token in this slot, where labels and serial numbers are alike.")
    private Integer slotNumber;

    private TokenUri uri;

    boolean isNamed() {
        return text != null || slotNumber != null;
    }

    /** The URI, if the token is named by one; one that means anything otherwise. */
    TokenUri uri() {
        if (uri == null) {
            uri = new TokenUri(text != null && text.startsWith(TokenUri.SCHEME) ? text : TokenUri.SCHEME);
        }
        return uri;
    }

    /** Finds the token's slot. */
    PKCS11Slot find(NativePKCS11 library) {
        uri();
        List<PKCS11Slot> there = Failure.in("the slots cannot be listed",
            () -> library.slotsWithTokens().collect(Collectors.toList()));
        List<PKCS11Slot> found = there.stream().filter(this::means).collect(Collectors.toList());
        if (found.size() > 1) { // those that are ready are meant
            List<PKCS11Slot> ready = found.stream().filter(slot -> slot.getTokenInfo().isInitialized())
                .collect(Collectors.toList());
            found = ready.isEmpty() ? found : ready;
        }
        if (found.size() == 1) {
            return found.get(0);
        }
        String list = there.stream().map(TokenChoice::name).collect(Collectors.joining("; "));
        if (found.isEmpty()) {
            throw new Failure(Main.FAILED, (isNamed() ? "this token" : "a token") + " is not there",
                there.isEmpty() ? "no slot of the module has a token" : "the module has: " + list,
                there.isEmpty() ? "put the token in, or see with tokbridge info what there is"
                    : "name one of these, or put the token in");
        }
        throw new Failure(Main.USAGE, found.size() + " tokens could be meant", "the module has: " + list,
            "name one of them with --token, or its slot with --slot if they are alike");
    }

    private boolean means(PKCS11Slot slot) {
        PKCS11TokenInfo token = slot.getTokenInfo();
        return (slotNumber == null || slotNumber == slot.getSlotID()) && (text == null
            || (text.startsWith(TokenUri.SCHEME) ? uri().means(slot)
                : text.equals(token.getLabel()) || text.equals(token.getSerialNumber())));
    }

    private static String name(PKCS11Slot slot) {
        PKCS11TokenInfo token = slot.getTokenInfo();
        String label = token.isInitialized() || !token.getLabel().isEmpty() ? "\"" + token.getLabel() + "\""
            : "one that is not initialised";
        return label + (token.getSerialNumber().isEmpty() ? "" : ", serial number " + token.getSerialNumber()) + ", in "
            + slot;
    }
}
