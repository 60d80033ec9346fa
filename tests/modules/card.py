#!/usr/bin/python3
"""card.py PIV|CAC PORT PIN
A smart card in software, in the emulated reader (vpcd) that listens at the port: a PIV card with two RSA keys and one
of an elliptic curve, or a card with the older CAC applet and three RSA keys; each with certificates. SIGUSR1 removes the
card from the reader, SIGUSR2 inserts it again."""
import datetime
import os
import signal
import socket
import struct
import sys

from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import ec, rsa, utils

OK, MORE, NOT_FOUND, NOT_VERIFIED, BLOCKED, WRONG_DATA, UNKNOWN = \
    0x9000, 0x6100, 0x6A82, 0x6982, 0x6983, 0x6A80, 0x6D00
ATR = bytes.fromhex('3BFD1300008131FE158073C021C057597562694B657940')


def tlv(tag, value):
    n = len(value)
    length = bytes([n]) if n < 0x80 else bytes([0x81, n]) if n < 0x100 else b'\x82' + struct.pack('>H', n)
    return tag.to_bytes((tag.bit_length() + 7) // 8, 'big') + length + value


def parse(data):
    """The values of a BER sequence by their tags of one byte."""
    values, at = {}, 0
    while at < len(data):
        tag, n = data[at], data[at + 1]
        at += 2
        if n & 0x80:
            n, at = int.from_bytes(data[at:at + (n & 0x7F)], 'big'), at + (n & 0x7F)
        values[tag] = data[at:at + n]
        at += n
    return values


def certificate(key, name, usage=None):
    subject = x509.Name([x509.NameAttribute(x509.NameOID.COMMON_NAME, name)])
    start = datetime.datetime(2024, 2, 29)
    builder = x509.CertificateBuilder().subject_name(subject).issuer_name(subject).public_key(key.public_key()) \
        .serial_number(x509.random_serial_number()).not_valid_before(start) \
        .not_valid_after(start + datetime.timedelta(3650))
    if usage:
        builder = builder.add_extension(usage, True)
    return builder.sign(key, hashes.SHA256()).public_bytes(serialization.Encoding.DER)


def raw_rsa(key, block):
    numbers = key.private_numbers()
    return pow(int.from_bytes(block, 'big'), numbers.d, numbers.public_numbers.n).to_bytes(len(block), 'big')


class Card:
    def __init__(self, pin):
        self.pin, self.tries = pin, 3
        self.reset()

    def reset(self):
        self.verified, self.rest, self.chain = False, b'', b''

    def verify(self, data):
        if not data:
            return b'', OK if self.verified else 0x63C0 | self.tries
        if not self.tries:
            return b'', BLOCKED
        self.verified = data.rstrip(b'\xFF') == self.pin
        self.tries = 3 if self.verified else self.tries - 1
        return b'', OK if self.verified else 0x63C0 | self.tries

    def command(self, apdu):
        """Carries out a command; long commands and responses are chained."""
        body, data, expected = apdu[4:], b'', 256
        if len(body) == 1:
            expected = body[0] or 256
        elif len(body) > 1 and body[0]:
            data, left = body[1:1 + body[0]], body[1 + body[0]:]
            expected = (left[0] or 256) if left else 256
        elif len(body) > 1:
            data, expected = body[3:3 + int.from_bytes(body[1:3], 'big')], 65536
        if apdu[1] == 0xC0:
            return self.piece(expected)
        if apdu[0] & 0x10:
            self.chain += data
            return struct.pack('>H', OK)
        data, self.chain = self.chain + data, b''
        answer, status = self.do(apdu[1], apdu[2], apdu[3], data, expected)
        if status != OK or len(answer) <= expected:
            return answer + struct.pack('>H', status)
        self.rest = answer
        return self.piece(expected)

    def piece(self, length):
        piece, self.rest = self.rest[:min(length, 256)], self.rest[min(length, 256):]
        return piece + struct.pack('>H', MORE | min(len(self.rest), 255) if self.rest else OK)


class Piv(Card):
    AID = bytes.fromhex('A000000308')
    SIGNATURE = 0x9C  # this key wants the PIN before each use

    def __init__(self, pin):
        self.keys, self.objects = {}, {}
        for slot, tag, name, key in (
                (0x9A, 0x5FC105, 'PIV Authentication', rsa.generate_private_key(65537, 2048)),
                (self.SIGNATURE, 0x5FC10A, 'PIV Signature', ec.generate_private_key(ec.SECP256R1())),
                (0x9D, 0x5FC10B, 'PIV Key Management', rsa.generate_private_key(65537, 2048))):
            self.keys[slot] = key
            self.objects[tag] = tlv(0x70, certificate(key, name)) + tlv(0x71, b'\0') + tlv(0xFE, b'')
        self.objects[0x5FC102] = tlv(0x30, bytes(25)) + tlv(0x34, os.urandom(16)) + tlv(0x35, b'20301231') \
            + tlv(0x3E, b'') + tlv(0xFE, b'')
        self.objects[0x5FC107] = tlv(0xF0, bytes.fromhex('A000000116FF02') + os.urandom(14)) \
            + bytes.fromhex('F10121F20121F300F40100F50110F600F700FA00FB00FC00FD00FE00')
        super().__init__(pin)

    def do(self, ins, p1, p2, data, expected):
        if ins == 0xA4 and data[:5] == self.AID:  # select
            self.verified = False
            return tlv(0x61, tlv(0x4F, bytes.fromhex('000010000100')) + tlv(0x79, tlv(0x4F, self.AID))), OK
        if ins == 0xCB:  # get data
            tag = int.from_bytes(parse(data)[0x5C], 'big')
            if tag == 0x7E:
                return tlv(0x7E, tlv(0x4F, bytes.fromhex('A000000308000010000100')) + tlv(0x5F2F, b'\x40\0')), OK
            return (tlv(0x53, self.objects[tag]), OK) if tag in self.objects else (b'', NOT_FOUND)
        if ins == 0x20:
            if p1 == 0xFF:
                self.verified = False
                return b'', OK
            self.fresh = bool(data)
            return self.verify(data)
        if ins == 0x87:
            return self.use(p2, parse(parse(data)[0x7C]))
        if ins == 0xFD:  # version
            return bytes([5, 2, 7]), OK
        if ins == 0xF8:  # serial number
            return struct.pack('>I', 12345678), OK
        return b'', NOT_FOUND if ins == 0xA4 else UNKNOWN

    def use(self, slot, given):
        key = self.keys.get(slot)
        if key is None:
            return b'', WRONG_DATA
        if not self.verified or slot == self.SIGNATURE and not self.fresh:
            return b'', NOT_VERIFIED
        self.fresh = False
        if isinstance(key, rsa.RSAPrivateKey):
            result = raw_rsa(key, given[0x81])
        else:
            result = key.sign(given[0x81].rjust(32, b'\0')[:32], ec.ECDSA(utils.Prehashed(hashes.SHA256())))
        return tlv(0x7C, tlv(0x82, result)), OK


class Cac(Card):
    AIDS = [bytes.fromhex('A00000007901') + bytes([i]) for i in range(3)]
    MANAGER = bytes.fromhex('A000000003000000')

    def __init__(self, pin):
        self.keys, self.certificates = [], []
        for name, signs in (('CAC ID', True), ('CAC Email Signature', True), ('CAC Email Encryption', False)):
            key = rsa.generate_private_key(65537, 2048)
            usage = x509.KeyUsage(signs, False, not signs, False, False, False, False, False, False)
            self.keys.append(key)
            self.certificates.append(b'\0' + certificate(key, name, usage))
        super().__init__(pin)

    def reset(self):
        super().reset()
        self.selected, self.at, self.block = None, 0, b''

    def do(self, ins, p1, p2, data, expected):
        if ins == 0xA4:
            if data[:7] in self.AIDS:
                self.selected, self.at, self.block = self.AIDS.index(data[:7]), 0, b''
                return b'', OK
            return b'', OK if data == self.MANAGER else NOT_FOUND
        if ins == 0x20:
            return self.verify(data)
        if ins == 0x36 and self.selected is not None:  # read the certificate on from where the last one ended
            whole = self.certificates[self.selected]
            piece = whole[self.at:self.at + expected]
            self.at += len(piece)
            left = len(whole) - self.at
            if left == 0:
                self.at = 0
            return piece, 0x6300 | min(left, 255) if left else OK
        if ins == 0x42 and self.selected is not None:
            self.block += data
            if p1 & 0x80:
                return b'', OK
            block, self.block = self.block, b''
            return (raw_rsa(self.keys[self.selected], block), OK) if self.verified else (b'', NOT_VERIFIED)
        return b'', UNKNOWN


class Removed(Exception):
    pass


def remove(*_):
    raise Removed


def main():
    card = {'PIV': Piv, 'CAC': Cac}[sys.argv[1]](sys.argv[3].encode())
    signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGUSR2})
    signal.signal(signal.SIGUSR1, remove)
    while True:
        try:
            return serve(card)
        except Removed:
            signal.sigwait({signal.SIGUSR2})
            card.reset()


def serve(card):
    with socket.create_connection(('127.0.0.1', int(sys.argv[2]))) as reader, reader.makefile('rb') as stream:
        reader.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        while True:
            header = stream.read(2)
            reader.setsockopt(socket.IPPROTO_TCP, socket.TCP_QUICKACK, 1)  # otherwise each response waits for the timer
            if len(header) < 2:
                return
            message = stream.read(struct.unpack('>H', header)[0])
            if len(message) == 1:  # 0 off, 1 on, 2 reset, 4 return the ATR
                if message[0] < 4:
                    card.reset()
                    continue
                answer = ATR
                print('asked for its ATR', flush=True)
            else:
                answer = card.command(message)
            reader.sendall(struct.pack('>H', len(answer)) + answer)


main()
