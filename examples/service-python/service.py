#!/usr/bin/env python3
"""A fingerprint service for one operator's profile, written from docs/protocol.md alone.

usage: service.py PROFILE FOLDER [--port PORT] [--bundle-version ID=VERSION]...

Serves every route of the profile on 127.0.0.1. Writes into FOLDER: ca.pem, the root that clients trust
(SSL_CERT_FILE), and, once it listens, connect-to, a redirection of every connection to it
(ZORFP_CONNECT_TO). Each exchange is a line of JSON on standard output. An example, not a product: keep
the signing key and the fingerprints in a safe place of your own.
"""
import argparse, base64, hashlib, hmac, json, time
from urllib.parse import urlsplit

from cryptography.hazmat.primitives.ciphers import Cipher, algorithms, modes

import loopback_server

EXPIRY_SECONDS, LIFETIME_SECONDS = 30 * 86400, 86400
SERVICE_ADDRESSES, BACKUP_ADDRESSES = ["127.0.0.2"], ["127.0.0.3"]


def open_sealed(key, vector, sealed):
    """AES-128-CBC; the zero bytes that fill the last block are taken off."""
    decryptor = Cipher(algorithms.AES(key), modes.CBC(vector)).decryptor()
    return (decryptor.update(sealed) + decryptor.finalize()).rstrip(b"\0")


def filled(format_text, *arguments):
    arguments, pieces = list(arguments), []
    for piece in format_text.split("%%"):
        while "%@" in piece:
            value = arguments.pop(0)
            piece = piece.replace("%@", "(null)" if value is None else value, 1)
        pieces.append(piece)
    return "%".join(pieces)


def block_key(format_text, bundle_version, bundle_identifier, collector_version):
    text = filled(format_text, bundle_version, bundle_identifier, collector_version, "1.0.0")
    data, n = text.encode(), len(text.encode("utf-16-le")) // 2
    units = (bundle_version or "").encode("utf-16-le")
    digest = 0
    for i in range(0, len(units), 2):
        digest = (digest * 31 + int.from_bytes(units[i:i + 2], "little")) & 0xFFFFFFFF
    key, h, x = [0] * 16, 1, 0
    for i in range(n):
        x = h * 31 + data[i]
        h, key[i % 16] = x % 256, data[i]
    a, m, s = digest + 2 * n + h, 6 * n, 112
    for j in range(n):
        t = key[j % 16]
        key[j % 16] = ((((t >> 4) ^ x) | ((t & 15) ^ x)) ^ (s ^ x)) & 0xFF
        s = (((a + j) ^ ((m ^ j) % 256)) ^ s ^ data[j]) & 0xFFFFFFFF
        m += 3
    return bytes(key)


class Service:
    def __init__(self, words, bundle_versions):
        self.words, self.bundle_versions = words, bundle_versions
        self.signing_key = open_sealed(words["kTextCipherKey"].encode(), words["kTextCipherVector"].encode(),
                                       base64.b64decode(words["kSigningKey"]))

    def answer(self, method, target, body):
        """(status, headers, body, what happened) of one exchange."""
        w = self.words
        for entry, answer in (("kFingerprintURL", self.fingerprint), ("kBackupURL", self.backup),
                              ("kPingbackURL", self.pingback)):
            url = urlsplit(w.get(entry, ""))
            if url.netloc and target == (url.path or "/") + ("?" + url.query if url.query else ""):
                return answer(body)
        for entry in ("kHttpDnsBootstrapFormat", "kHttpDnsQueryFormat"):
            place = w.get(entry, "").replace("%@", "host", 1).partition("://host")[2]
            before, _, after = place[place.find("/"):].partition("%@")
            if w["kHttpDnsAddresses"] and target.startswith(before) and target.endswith(after):
                return self.httpdns(target[len(before):len(target) - len(after)])
        return 404, {}, b"", {"kind": "unknown"}

    def fingerprint(self, body):
        w = self.words
        try:
            request = json.loads(body)
            environment, platform, signature, version = (
                request[w[key]] for key in
                ("kBodyEnvironmentKey", "kBodyPlatformKey", "kBodySignatureKey", "kBodyVersionKey"))
            message = (environment + platform + version).encode()
            report = json.loads(base64.b64decode(environment, validate=True))
        except (ValueError, KeyError, TypeError):
            return 400, {}, b"", {"kind": "fingerprint", "verdict": "not understood"}
        expected = hmac.new(self.signing_key, message, hashlib.sha1).hexdigest()
        if not hmac.compare_digest(expected, str(signature).lower()):
            refusal = json.dumps({w["kAnswerStatusKey"]: 1001}).encode()
            return 200, {}, refusal, {"kind": "fingerprint", "verdict": "wrong signature"}
        identity = self.identity(report)
        seed = json.dumps(report if identity is None else identity, sort_keys=True).encode()
        fingerprint = hashlib.sha256(seed).hexdigest()
        data = {w["kAnswerFingerprintKey"]: fingerprint,
                w["kAnswerExpiryKey"]: int((time.time() + EXPIRY_SECONDS) * 1000),
                w["kAnswerLifetimeKey"]: LIFETIME_SECONDS}
        answer = json.dumps({w["kAnswerStatusKey"]: 0, w["kAnswerDataKey"]: data}).encode()
        return 200, {}, answer, {"kind": "fingerprint", "verdict": "issued", "fingerprint": fingerprint,
                                 "entries": len(report), "identity": identity}

    def identity(self, report):
        """The seven sealed values; None: no bundle version that we know opens them."""
        w = self.words
        sealed = base64.b64decode(report[w["kParamSealedBlockKey"]] or "")
        bundle, version = report[w["kParamBundleIdentifierKey"]], report[w["kParamVersionKey"]]
        for bundle_version in (self.bundle_versions.get(bundle), None, report[w["kParamBundleValueKey"]]):
            key = block_key(w["kKeyDerivationFormat"], bundle_version, bundle, version)
            try:
                identity = json.loads(open_sealed(key, w["kSealVector"].encode(), sealed))
                if isinstance(identity, dict) and len(identity) == 7:
                    return identity
            except ValueError:
                continue
        return None

    def httpdns(self, host):
        addresses = ["127.0.0.1"] if host == self.words["kHttpDnsHost"] else SERVICE_ADDRESSES
        value = self.words["kHttpDnsSeparator"].join(addresses)
        return 200, {self.words["kHttpDnsAnswerHeader"]: value}, b"", {"kind": "httpdns", "host": host}

    def backup(self, _body):
        w = self.words
        document = {w["kBackupListKey"]: {w["kBackupEntriesKey"]: [
            {w["kBackupAddressListKey"]: BACKUP_ADDRESSES}]}}
        answer = [{w["kBackupStatusKey"]: w["kBackupStatusExpected"], w["kBackupDataKey"]: json.dumps(document)}]
        return 200, {}, json.dumps(answer).encode(), {"kind": "backup"}

    def pingback(self, body):
        prefix = self.words["kPingbackBodyPrefix"].encode()
        try:
            records = json.loads(body[len(prefix):]) if body.startswith(prefix) else None
        except ValueError:
            records = None
        if not isinstance(records, list):
            return 400, {}, b"", {"kind": "pingback", "verdict": "not understood"}
        return 200, {}, b"", {"kind": "pingback", "records": records}


def main():
    parser = argparse.ArgumentParser(usage=__doc__.split("\n\n")[1][7:])
    parser.add_argument("profile")
    parser.add_argument("folder")
    parser.add_argument("--port", type=int, default=0)
    parser.add_argument("--bundle-version", action="append", default=[])
    arguments = parser.parse_args()
    words = json.load(open(arguments.profile))["texts"]
    service = Service(words, dict(pair.split("=", 1) for pair in arguments.bundle_version))
    loopback_server.serve(service, arguments.folder, arguments.port)


if __name__ == "__main__":
    main()
