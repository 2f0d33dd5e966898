#!/usr/bin/env python3
"""Makes tests/data/sandbox/signed_request.json: a fingerprint request as a client of the default
profile sends it, with a fixed report. Cipher and signature come from the openssl program.

usage: tests/sandbox/make_signed_request.py profiles/sandbox.json > tests/data/sandbox/signed_request.json
"""
import base64
import json
import subprocess
import sys

WORDS = json.load(open(sys.argv[1]))["texts"]
PLATFORM, COLLECTOR = "linux", "1.1.0"
BUNDLE, BUNDLE_VERSION = "com.example.hafen-\u00fc", "4.2b7"


def openssl(*arguments, data):
    return subprocess.run(["openssl", *arguments], input=data, stdout=subprocess.PIPE, check=True).stdout


def aes(direction, key, vector, data):
    return openssl("enc", direction, "-aes-128-cbc", "-nopad", "-K", key.hex(), "-iv", vector.hex(), data=data)


def block_key():
    text = "/".join([BUNDLE_VERSION, BUNDLE, COLLECTOR, "1.0.0"])
    data, n = text.encode(), len(text.encode("utf-16-le")) // 2
    digest = 0
    for unit in BUNDLE_VERSION:
        digest = (digest * 31 + ord(unit)) & 0xFFFFFFFF
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


def word(role):
    return WORDS[role]


identity = {word(f"kSealed{role}Key"): None for role in (
    "FirstInterface", "SecondInterface", "ThirdInterface", "BluetoothAddress", "HardwareUUID")}
identity[word("kSealedFirstInterfaceKey")] = "02:00:5e:10:00:01"
identity[word("kSealedOtherInterfacesKey")] = {"wwan0": "02:00:5e:10:00:09"}
identity[word("kSealedSerialNumberKey")] = "SER-0042"
plain = json.dumps(identity, separators=(",", ":")).encode()
plain += bytes((len(plain) + 16) // 16 * 16 - len(plain))

report = {text: None for role, text in WORDS.items() if role.startswith("kParam")}
report[word("kParamBundleIdentifierKey")] = BUNDLE
report[word("kParamBundleValueKey")] = "4.2"
report[word("kParamVersionKey")] = COLLECTOR
report[word("kParamPlatformKey")] = PLATFORM
report[word("kParamSealedBlockKey")] = base64.b64encode(
    aes("-e", block_key(), word("kSealVector").encode(), plain)).decode()

environment = base64.b64encode(json.dumps(report, separators=(",", ":")).encode()).decode()
signing_key = aes("-d", word("kTextCipherKey").encode(), word("kTextCipherVector").encode(),
                  base64.b64decode(word("kSigningKey"))).rstrip(b"\0").decode()
signature = openssl("dgst", "-sha1", "-hmac", signing_key, "-r",
                    data=(environment + PLATFORM + COLLECTOR).encode()).split()[0].decode()
print(json.dumps({
    word("kBodyEnvironmentKey"): environment, word("kBodyPlatformKey"): PLATFORM,
    word("kBodySignatureKey"): signature, word("kBodyVersionKey"): COLLECTOR,
    word("kBodyReservedKey"): ""}))
