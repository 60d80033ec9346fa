package com.kelvane.pkcs11.nat;

import com.kelvane.pkcs11.PKCS11Constants;
import com.kelvane.pkcs11.PKCS11Exception;
import com.kelvane.pkcs11.PKCS11Object;
import com.kelvane.pkcs11.Template;
import java.io.ByteArrayInputStream;
import java.math.BigInteger;
import java.security.GeneralSecurityException;
import java.security.PublicKey;
import java.security.cert.CertificateException;
import java.security.cert.CertificateFactory;
import java.security.cert.X509Certificate;
import java.util.Date;
import java.util.Objects;

/**
 * An object on a token or in a session, and the session through which it is reached. Key arguments are of this class;
 * the two keys that the native {@code generateKeyPair} returns as {@link PKCS11Object}s are too.
 *
 * <p>Two objects are equal if they have the same handle in equal sessions. A library may use a handle again once its
 * object has been destroyed.
 */
public class NativePKCS11Object implements PKCS11Object {
    /** The session in which the handle is valid. */
    private final NativePKCS11Session session;

    /** The object's {@code CK_OBJECT_HANDLE}; {@link WideHandle#MARKER} if the handle is in {@link #handle} alone. */
    private final int objectID;

    /** The whole {@code CK_OBJECT_HANDLE}. */
    private final long handle;

    /**
     * Constructs an object for a handle known from elsewhere; the calls that create and find objects construct their
     * own.
     *
     * @param session the session in which the handle is valid
     * @param objectID the handle, its 32 bits unsigned; 0 for no object
     */
    public NativePKCS11Object(NativePKCS11Session session, int objectID) {
        NativeLibrary.require();
        this.session = session;
        this.objectID = objectID;
        handle = Integer.toUnsignedLong(objectID);
    }

    /**
     * Constructs an object for a handle of up to 64 bits.
     *
     * @param session the session in which the handle is valid
     * @param handle the handle, its 64 bits unsigned; 0 is the handle of an object, as some modules use it
     */
    public NativePKCS11Object(NativePKCS11Session session, long handle) {
        NativeLibrary.require();
        this.session = session;
        this.handle = handle;
        objectID = handle == 0 ? WideHandle.MARKER : WideHandle.toInt(handle);
    }

    /**
     * Returns the session in which the handle is valid.
     *
     * @return the session
     */
    public NativePKCS11Session getSession() {
        return session;
    }

    @Override
    public int getObjectID() {
        return objectID;
    }

    /**
     * Returns the object's handle. It stays the same after {@link #destroy}.
     *
     * @return the handle, its 64 bits unsigned
     */
    public long getHandle() {
        return handle;
    }

    @Override
    public boolean equals(Object other) {
        return other instanceof NativePKCS11Object && Objects.equals(((NativePKCS11Object) other).session, session)
            && ((NativePKCS11Object) other).handle == handle && ((NativePKCS11Object) other).objectID == objectID;
    }

    @Override
    public int hashCode() {
        return 31 * Objects.hashCode(session) + Long.hashCode(handle);
    }

    @Override
    public String toString() {
        return "object 0x" + Long.toHexString(handle) + " in " + session;
    }

    /**
     * Returns this object's public key as a JDK {@code PublicKey}: RSA, DSA and Diffie-Hellman keys, elliptic curves
     * that the JDK knows, X25519 and X448, Ed25519 and Ed448 (JDK 15 and later), ML-DSA and ML-KEM (JDK 24 and later).
     * A private RSA key contains its public key; for other private keys use the public key or the certificate with the
     * same {@code CKA_ID}.
     *
     * @return the public key
     * @throws PKCS11Exception with {@code CKR_ATTRIBUTE_TYPE_INVALID} (0x12) if the object contains no public key
     * @throws GeneralSecurityException if the JDK does not know the algorithm or the curve, or if the token's value is
     *     not a public key
     */
    public PublicKey toPublicKey() throws GeneralSecurityException {
        return PublicKeys.of(this);
    }

    /**
     * Returns the X.509 certificate that this object contains.
     *
     * @return the certificate
     * @throws CertificateException if the object is not an X.509 certificate, or contains only its address
     */
    public X509Certificate toCertificate() throws CertificateException {
        int type = getIntAttributeValue(PKCS11Constants.CKA_CLASS);
        if (type != PKCS11Constants.CKO_CERTIFICATE) {
            throw new CertificateException("not a certificate: " + PKCS11Constants.nameOf("CKO_", type));
        }
        return (X509Certificate) CertificateFactory.getInstance("X.509").generateCertificate(
            new ByteArrayInputStream(getByteArrayAttributeValue(PKCS11Constants.CKA_VALUE)));
    }

    /**
     * {@inheritDoc}
     *
     * <p>One call of the token.
     *
     * @throws PKCS11Exception {@inheritDoc}
     */
    @Override
    public native boolean getBoolAttributeValue(int type);

    /**
     * {@inheritDoc}
     *
     * <p>One call of the token.
     *
     * @throws PKCS11Exception {@inheritDoc}
     */
    @Override
    public native int getIntAttributeValue(int type);

    /**
     * {@inheritDoc}
     *
     * <p>Two calls of the token, for the size and for the value; one that finds the value grown in between is refused
     * by the token.
     *
     * @throws PKCS11Exception {@inheritDoc}
     */
    @Override
    public native String getStringAttributeValue(int type);

    /**
     * {@inheritDoc}
     *
     * <p>Two calls of the token, for the size and for the value; one that finds the value grown in between is refused
     * by the token.
     *
     * @throws PKCS11Exception {@inheritDoc}
     */
    @Override
    public native byte[] getByteArrayAttributeValue(int type);

    /**
     * {@inheritDoc}
     *
     * <p>One call of the token.
     *
     * @throws PKCS11Exception {@inheritDoc}
     */
    @Override
    public native Date getDateAttributeValue(int type);

    /**
     * {@inheritDoc}
     *
     * <p>Two calls of the token, for the size and for the value; one that finds the value grown in between is refused
     * by the token.
     *
     * @throws PKCS11Exception {@inheritDoc}
     */
    @Override
    public native BigInteger getBigIntegerAttributeValue(int type);

    /**
     * {@inheritDoc}
     *
     * @throws PKCS11Exception {@inheritDoc}
     */
    @Override
    public native Object getAttributeValue(int type);

    /**
     * {@inheritDoc}
     *
     * <p>Cryptoki: {@code C_CopyObject}. The attributes are looked at before the object.
     *
     * @throws PKCS11Exception {@inheritDoc}
     */
    @Override
    public native NativePKCS11Object copy(int[] types, Object[] values);

    @Override
    public NativePKCS11Object copy(Template changes) {
        return ShortForm.call("C_CopyObject", () -> copy(changes.getTypes(), changes.getValues()));
    }

    /**
     * {@inheritDoc}
     *
     * <p>Cryptoki: {@code C_DestroyObject}.
     */
    @Override
    public native void destroy();

    /**
     * {@inheritDoc}
     *
     * <p>Cryptoki: {@code C_GetObjectSize}.
     */
    @Override
    public native int size();

    /**
     * {@inheritDoc}
     *
     * <p>Cryptoki: {@code C_SetAttributeValue}. The value is looked at before the object.
     *
     * @throws PKCS11Exception {@inheritDoc}
     */
    @Override
    public native void setAttributeValue(int type, Object value);

    /**
     * {@inheritDoc}
     *
     * <p>Cryptoki: {@code C_SetAttributeValue}, one call for all. The attributes are looked at before the object.
     *
     * @throws PKCS11Exception {@inheritDoc}
     */
    @Override
    public native void setAttributeValues(int[] types, Object[] values);

    @Override
    public void setAttributeValues(Template attributes) {
        ShortForm.run("C_SetAttributeValue",
            () -> setAttributeValues(attributes.getTypes(), attributes.getValues()));
    }

    /**
     * {@inheritDoc}
     *
     * <p>Cryptoki: {@code C_SetAttributeValue}. The type is looked at before the object.
     *
     * @throws PKCS11Exception {@inheritDoc}
     */
    @Override
    public native void setBoolAttributeValue(int type, boolean value);

    /**
     * {@inheritDoc}
     *
     * <p>Cryptoki: {@code C_SetAttributeValue}. The type is looked at before the object.
     *
     * @throws PKCS11Exception {@inheritDoc}
     */
    @Override
    public native void setIntAttributeValue(int type, int value);
}
