#!/usr/bin/env python3
"""Rebuilds documents byte for byte: create_rebuild_test.py WRITER

WRITER makes one document of each family of keys in a folder, under salts that it tells. This script
makes the same documents from the certificates, the password and the salts, with OpenSSL's GOST
engine for every primitive and nothing of the module. Only the MAC's salt and the wrapped keys are
taken from the document; those are decrypted, and must be the private keys of their certificates.

Exit code 77 where the engine is not installed.
"""
import ctypes
import ctypes.util
import os
import pathlib
import subprocess
import sys
import tempfile

ITERATIONS = 2000

OID = {
    "data": "1.2.840.113549.1.7.1",
    "encryptedData": "1.2.840.113549.1.7.6",
    "keyBag": "1.2.840.113549.1.12.10.1.2",
    "certBag": "1.2.840.113549.1.12.10.1.3",
    "x509Certificate": "1.2.840.113549.1.9.22.1",
    "localKeyId": "1.2.840.113549.1.9.21",
    "friendlyName": "1.2.840.113549.1.9.20",
    "providerName": "1.3.6.1.4.1.311.17.1",
    "pbes2": "1.2.840.113549.1.5.13",
    "pbkdf2": "1.2.840.113549.1.5.12",
    "gost28147": "1.2.643.2.2.21",
}

FAMILIES = {
    "2001": {
        "digest": b"md_gost94",
        "digestOid": "1.2.643.2.2.9",
        "prf": "1.2.643.2.2.10",
        "parameters": "1.2.643.2.2.31.1",
        "parametersName": b"id-Gost28147-89-CryptoPro-A-ParamSet",
    },
    "2012-256": {
        "digest": b"md_gost12_512",
        "digestOid": "1.2.643.7.1.1.2.3",
        "prf": "1.2.643.7.1.1.4.2",
        "parameters": "1.2.643.7.1.2.5.1.1",
        "parametersName": b"id-tc26-gost-28147-param-Z",
    },
}
FAMILIES["2012-512"] = FAMILIES["2012-256"]


# --- DER -----------------------------------------------------------------------------------------


def element(tag, *parts):
    content = b"".join(parts)
    size = len(content)
    if size < 0x80:
        return bytes([tag, size]) + content
    octets = size.to_bytes((size.bit_length() + 7) // 8, "big")
    return bytes([tag, 0x80 + len(octets)]) + octets + content


def sequence(*parts):
    return element(0x30, *parts)


def oid(text):
    arcs = [int(arc) for arc in text.split(".")]
    content = bytes([arcs[0] * 40 + arcs[1]])
    for arc in arcs[2:]:
        groups = [arc & 0x7F]
        while arc := arc >> 7:
            groups.append(0x80 | arc & 0x7F)
        content += bytes(reversed(groups))
    return element(0x06, content)


def octets(content):
    return element(0x04, content)


def children(encoded):
    """The elements in the content of the first element."""
    content = split(encoded)[1]
    found = []
    while content:
        tag, _, rest = split(content)
        found.append((tag, content[: len(content) - len(rest)]))
        content = rest
    return found


def split(encoded):
    """Tag, content and what follows of the first element."""
    size, start = encoded[1], 2
    if size >= 0x80:
        start += size - 0x80
        size = int.from_bytes(encoded[2:start], "big")
    return encoded[0], encoded[start : start + size], encoded[start + size :]


# --- OpenSSL and its engine ----------------------------------------------------------------------


class Peer:
    def __init__(self):
        self.lib = lib = ctypes.CDLL(ctypes.util.find_library("crypto"))
        for name in ("ENGINE_by_id", "EVP_get_digestbyname", "EVP_get_cipherbyname",
                     "EVP_CIPHER_CTX_new", "HMAC"):
            getattr(lib, name).restype = ctypes.c_void_p
        lib.ENGINE_load_builtin_engines()
        self.engine = ctypes.c_void_p(lib.ENGINE_by_id(b"gost"))
        if not self.engine or not lib.ENGINE_init(self.engine):
            sys.exit(77)
        lib.ENGINE_set_default(self.engine, 0xFFFF)

    def digest(self, name):
        return ctypes.c_void_p(self.lib.EVP_get_digestbyname(name))

    def derive(self, name, password, salt, size):
        out = ctypes.create_string_buffer(size)
        assert self.lib.PKCS5_PBKDF2_HMAC(password, len(password), salt, len(salt), ITERATIONS,
                                          self.digest(name), size, out) == 1
        return out.raw

    def hmac(self, name, key, data):
        out = ctypes.create_string_buffer(64)
        size = ctypes.c_uint()
        assert self.lib.HMAC(self.digest(name), key, len(key), data, ctypes.c_size_t(len(data)),
                             out, ctypes.byref(size))
        return out.raw[: size.value]

    def cipher(self, parameters, key, vector, text, encrypt):
        """GOST 28147-89 in CFB, with key meshing."""
        lib = self.lib
        assert lib.ENGINE_ctrl_cmd_string(self.engine, b"CRYPT_PARAMS", parameters, 0) == 1
        context = ctypes.c_void_p(lib.EVP_CIPHER_CTX_new())
        algorithm = ctypes.c_void_p(lib.EVP_get_cipherbyname(b"gost89"))
        assert lib.EVP_CipherInit_ex(context, algorithm, self.engine, key, vector, encrypt) == 1
        out = ctypes.create_string_buffer(len(text) + 64)
        size = ctypes.c_int()
        assert lib.EVP_CipherUpdate(context, out, ctypes.byref(size), text, len(text)) == 1
        lib.EVP_CIPHER_CTX_free(context)
        return out.raw[: size.value]


def public_key(arguments, text):
    """The public key that the openssl program finds in these bytes, as PEM."""
    configuration = ("openssl_conf=a\n[a]\nengines=b\n[b]\ngost=c\n[c]\nengine_id=gost\n"
                     "default_algorithms=ALL\n")
    with tempfile.NamedTemporaryFile("w") as file:
        file.write(configuration)
        file.flush()
        environment = {**os.environ, "OPENSSL_CONF": file.name}
        return subprocess.run(["openssl", *arguments, "-inform", "DER"], input=text, check=True,
                              env=environment, capture_output=True).stdout


# --- The document --------------------------------------------------------------------------------


class Document:
    def __init__(self, folder, peer):
        self.peer = peer
        self.family = FAMILIES[folder.name]
        self.written = (folder / "document.pfx").read_bytes()
        facts = [line.split(" ", 1) for line in (folder / "facts.txt").read_text().splitlines()]
        self.password = self.fact(facts, "password")[0].encode()
        self.salt = bytes([int(self.fact(facts, "salt_octet")[0])]) * 32
        # Drawn by the module itself, and drawn again where the MAC reads as an element: the octets
        # before the count.
        self.mac_salt = self.written[-36:-4]
        self.provider_name = self.fact(facts, "provider_name")
        self.friendly_names = self.fact(facts, "friendly_name")
        self.certificates = [((folder / value).read_bytes(), name == "key_certificate")
                             for name, value in facts if name.endswith("certificate")]
        derived = peer.derive(self.family["digest"], self.password, self.salt, 40)
        self.key, self.vector = derived[:32], derived[32:]

    @staticmethod
    def fact(facts, wanted):
        return [value for name, value in facts if name == wanted]

    def cipher(self, text, encrypt):
        return self.peer.cipher(self.family["parametersName"], self.key, self.vector, text, encrypt)

    def scheme(self):
        prf = sequence(oid(self.family["prf"]), element(0x05))
        iterations = element(0x02, ITERATIONS.to_bytes(2, "big"))
        derivation = sequence(oid(OID["pbkdf2"]), sequence(octets(self.salt), iterations, prf))
        parameters = sequence(octets(self.vector), oid(self.family["parameters"]))
        return sequence(oid(OID["pbes2"]),
                        sequence(derivation, sequence(oid(OID["gost28147"]), parameters)))

    @staticmethod
    def attribute(name, value):
        return sequence(oid(OID[name]), element(0x31, value))

    def local_key_id(self, index):
        return self.attribute("localKeyId", octets(index.to_bytes(4, "little")))

    def key_bag(self, index, wrapped):
        attributes = self.local_key_id(index)
        if self.provider_name:
            attributes += self.attribute("providerName",
                                         element(0x13, self.provider_name[0].encode()))
            attributes += self.attribute("friendlyName",
                                         element(0x13, self.friendly_names[index - 1].encode()))
        info = sequence(self.scheme(), octets(wrapped))
        return sequence(oid(OID["keyBag"]), element(0xA0, info), element(0x31, attributes))

    def certificate_bags(self):
        bags, index = [], 1
        for encoded, names_key in self.certificates:
            bag = sequence(oid(OID["x509Certificate"]), element(0xA0, octets(encoded)))
            attributes = self.local_key_id(index) if names_key else b""
            index += names_key
            bags.append(sequence(oid(OID["certBag"]), element(0xA0, bag),
                                 element(0x31, attributes)))
        return sequence(*bags)

    def content_info(self, kind, content):
        return sequence(oid(OID[kind]), element(0xA0, content))

    def mac_data(self, safe):
        derived = self.peer.derive(self.family["digest"], self.password, self.mac_salt, 96)
        mac = self.peer.hmac(self.family["digest"], derived[64:], safe)
        digest = sequence(sequence(oid(self.family["digestOid"])), octets(mac))
        return sequence(digest, octets(self.mac_salt),
                        element(0x02, ITERATIONS.to_bytes(2, "big")))

    def build(self, wrapped_keys):
        bags = [self.key_bag(index, wrapped) for index, wrapped in enumerate(wrapped_keys, 1)]
        keys = self.content_info("data", octets(sequence(*bags)))
        encrypted = sequence(oid(OID["data"]), self.scheme(),
                             element(0x80, self.cipher(self.certificate_bags(), 1)))
        certificates = self.content_info("encryptedData",
                                         sequence(element(0x02, b"\0"), encrypted))
        safe = sequence(keys, certificates)
        return sequence(element(0x02, b"\3"), self.content_info("data", octets(safe)),
                        self.mac_data(safe))

    def wrapped_keys(self):
        """The wrapped keys of the document that was written, in the order of their bags."""
        def nested(encoded, *path):
            for position in path:
                encoded = children(encoded)[position][1]
            return encoded

        # authSafe, [0], OCTET STRING: the AuthenticatedSafe.
        safe = nested(self.written, 1, 1, 0)
        # Its first ContentInfo, [0], OCTET STRING.
        contents = nested(split(safe)[1], 0, 1, 0)
        bags = children(split(contents)[1])
        # [0], the EncryptedPrivateKeyInfo, its OCTET STRING.
        return [split(nested(bag, 1, 0, 1))[1] for _, bag in bags]

    def check(self):
        wrapped = self.wrapped_keys()
        owners = [encoded for encoded, names_key in self.certificates if names_key]
        assert len(wrapped) == len(owners) == 2, "two keys went in"
        for encoded, owner in zip(wrapped, owners):
            private = public_key(["pkey", "-pubout"], self.cipher(encoded, 0))
            assert private == public_key(["x509", "-noout", "-pubkey"], owner), "another's key"
        rebuilt = self.build(wrapped)
        assert rebuilt == self.written, "\n" + self.written.hex() + "\n" + rebuilt.hex()
        assert len(self.certificate_bags()) > 1024, "no key meshing"


def main():
    peer = Peer()
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([sys.argv[1], folder], check=True)
        for family in FAMILIES:
            document = Document(pathlib.Path(folder) / family, peer)
            document.check()
            print(f"{family}: {len(document.written)} bytes, rebuilt the same")


if __name__ == "__main__":
    main()
