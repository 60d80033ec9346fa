package com.kelvane.tokbridge.tool.trials;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.tokbridge.tool.token.Token;
import java.util.*;

/** A private or secret key that was found on the token. */
final class FoundKey {
    final int objectClass;

    /** The key's place among the objects of its class that were found. */
    final int place;
    private final PKCS11Attributes attributes;

    FoundKey(int objectClass, int place, NativePKCS11Object object) {
        this.objectClass = objectClass;
        this.place = place;
        attributes = object.readAttributes(CKA_KEY_TYPE, CKA_LABEL, CKA_ID, CKA_SIGN, CKA_DECRYPT, CKA_UNWRAP,
            CKA_DERIVE, CKA_VERIFY, CKA_ENCRYPT, CKA_WRAP, CKA_MODULUS, CKA_ALLOWED_MECHANISMS);
    }

    /** Returns the label in quotation marks, or the id. */
    String name() {
        String label = attributes.getString(CKA_LABEL);
        byte[] id = attributes.getBytes(CKA_ID);
        return label != null && !label.isEmpty() ? "\"" + label + "\"" : Optional.ofNullable(Token.hex(id))
            .orElse("(no label)");
    }

    /** Returns whether the key may be used for an operation. */
    boolean fits(Operation operation) {
        Use use = operation.use;
        KeyKind kind = operation.kind;
        int[] allowed = (int[]) attributes.get(CKA_ALLOWED_MECHANISMS);
        return kind != null && use.attribute != 0 && use != Use.ENCRYPTION
            && kind.isPair() == (objectClass == CKO_PRIVATE_KEY)
            && Integer.valueOf(kind.type).equals(attributes.getInteger(CKA_KEY_TYPE))
            && attributes.isTrue(use.attribute)
            && (kind.isPair() || use.publicAttribute == 0 || attributes.isTrue(use.publicAttribute))
            && (allowed == null || allowed.length == 0
                || Arrays.stream(allowed).anyMatch(each -> each == operation.mechanism));
    }

    /** Returns the key as an object of a session, with its public key: it is that of the same id or label. */
    Key resolve(NativePKCS11Object object) {
        if (objectClass == CKO_SECRET_KEY) {
            return new Key(object, object, null, false);
        }
        NativePKCS11Object byId = only(object, CKO_PUBLIC_KEY, CKA_ID);
        NativePKCS11Object open = byId != null ? byId : only(object, CKO_PUBLIC_KEY, CKA_LABEL);
        return new Key(object, open, Key.publicKey(attributes.has(CKA_MODULUS) ? object : open != null ? open
            : only(object, CKO_CERTIFICATE, CKA_ID)), false);
    }

    /** Returns the object of a class with the same id or label; null for none or several. */
    private NativePKCS11Object only(NativePKCS11Object object, int otherClass, int attribute) {
        Object same = attributes.get(attribute);
        if (same == null || same.equals("") || same instanceof byte[] && ((byte[]) same).length == 0) {
            return null;
        }
        Template template = Template.of(CKA_CLASS, otherClass, attribute, same);
        List<NativePKCS11Object> found = object.getSession().findObjects(otherClass == CKO_CERTIFICATE ? template
            : template.and(CKA_KEY_TYPE, attributes.getInteger(CKA_KEY_TYPE)));
        return found.size() == 1 ? found.get(0) : null;
    }
}
