package com.kelvane.tokbridge.tool.trials;

import static com.kelvane.pkcs11.PKCS11Constants.*;

import com.kelvane.pkcs11.*;
import com.kelvane.pkcs11.nat.NativePKCS11Object;
import com.kelvane.tokbridge.tool.token.Token;
import java.security.GeneralSecurityException;
import java.security.PublicKey;
import java.util.*;

/** A private or secret key that operations are tried with. */
final class Key {
    /** The secret key twice, or the private and the public key, which is null if it is not on the token. */
    final NativePKCS11Object object, open;

    /** The secret or public key; null if the token does not reveal it, or the JDK has no such keys. */
    final java.security.Key jdkKey;

    /** The attributes of a key that was found on the token; null for one that was created for the trials. */
    private final PKCS11Attributes attributes;

    /** A key that was created for the trials. */
    Key(NativePKCS11Object object, NativePKCS11Object open, java.security.Key jdkKey) {
        this.object = object;
        this.open = open;
        this.jdkKey = jdkKey;
        attributes = null;
    }

    /** A key that was found on the token, with its public key: it is that of the same id or label. */
    Key(NativePKCS11Object object) {
        this.object = object;
        attributes = object.readAttributes(CKA_CLASS, CKA_KEY_TYPE, CKA_LABEL, CKA_ID, CKA_SIGN, CKA_DECRYPT,
            CKA_UNWRAP, CKA_DERIVE, CKA_VERIFY, CKA_ENCRYPT, CKA_WRAP, CKA_MODULUS, CKA_ALLOWED_MECHANISMS);
        boolean isSecret = Integer.valueOf(CKO_SECRET_KEY).equals(attributes.getInteger(CKA_CLASS));
        NativePKCS11Object byId = isSecret ? object : only(CKO_PUBLIC_KEY, CKA_ID);
        open = byId != null ? byId : only(CKO_PUBLIC_KEY, CKA_LABEL);
        jdkKey = isSecret ? null : publicKey(attributes.has(CKA_MODULUS) ? object : open != null ? open
            : only(CKO_CERTIFICATE, CKA_ID));
    }

    /** Returns the object of a class with the same id or label; null for none or several. */
    private NativePKCS11Object only(int otherClass, int attribute) {
        Object same = attributes.get(attribute);
        if (same == null || same.equals("") || same instanceof byte[] && ((byte[]) same).length == 0) {
            return null;
        }
        Template template = Template.of(CKA_CLASS, otherClass, attribute, same);
        List<NativePKCS11Object> found = object.getSession().findObjects(otherClass == CKO_CERTIFICATE ? template
            : template.and(CKA_KEY_TYPE, attributes.getInteger(CKA_KEY_TYPE)));
        return found.size() == 1 ? found.get(0) : null;
    }

    /** Returns the public key that an object or a certificate contains; null if there is none that the JDK can read. */
    static PublicKey publicKey(NativePKCS11Object source) {
        try {
            return source == null ? null : source.getIntAttributeValue(CKA_CLASS) == CKO_CERTIFICATE
                ? source.toCertificate().getPublicKey() : source.toPublicKey();
        } catch (GeneralSecurityException | PKCS11Exception e) {
            return null; // the token's own results are compared then
        }
    }

    /** Returns whether it was created for the trials. With other keys the token does only what the JDK cannot. */
    boolean isOwn() {
        return attributes == null;
    }

    /** Returns the label of a key that was found, in quotation marks, or its id. */
    String name() {
        String label = attributes.getString(CKA_LABEL), id = Token.hex(attributes.getBytes(CKA_ID));
        return label != null && !label.isEmpty() ? "\"" + label + "\"" : id != null ? id : "(no label)";
    }

    /** Returns whether a key that was found may be used for an operation. */
    boolean fits(Operation operation) {
        Use use = operation.use;
        int[] allowed = (int[]) attributes.get(CKA_ALLOWED_MECHANISMS);
        return use.attribute != 0 && use != Use.ENCRYPTION
            && Integer.valueOf(operation.kind.type).equals(attributes.getInteger(CKA_KEY_TYPE))
            && attributes.isTrue(use.attribute)
            && (operation.kind.isPair() || use.publicAttribute == 0 || attributes.isTrue(use.publicAttribute))
            && (allowed == null || allowed.length == 0
                || Arrays.stream(allowed).anyMatch(each -> each == operation.mechanism));
    }
}
