"""Known answers for the block key and the sealed block (tests/collector/sealed_block_test.cc).

Usage: python3 block_key.py    (needs the openssl program)
"""
import subprocess

VECTOR = "lagoon-vector-03"  # Of the sandbox profile, as is the format "%@/%@/%@/%@".


def utf16_units(text):
    raw = text.encode("utf-16-le")
    return [raw[i] | raw[i + 1] << 8 for i in range(0, len(raw), 2)]


def text_hash(text):
    value = 0
    for unit in utf16_units(text):
        value = (value * 31 + unit) % 2**32
    return value


def block_key(material, hash_value):
    taken = material.encode()[: len(utf16_units(material))]
    key = [0] * 16
    if not taken:
        return bytes(key)
    rolling = 1
    for index, byte in enumerate(taken):
        wide = rolling * 31 + byte
        rolling = wide % 256
        key[index % 16] = byte
    base = hash_value + 2 * len(taken) + rolling
    step, mask = 6 * len(taken), 112
    for index, byte in enumerate(taken):
        old = key[index % 16]
        mixed = ((old >> 4) ^ wide) | ((old & 15) ^ wide)
        key[index % 16] = (mixed ^ mask ^ wide) & 255
        mask = ((base + index) ^ ((step ^ index) & 255)) ^ mask ^ byte
        mask &= 2**32 - 1
        step += 3
    return bytes(key)


def seal(clear, key):
    padded = clear + bytes((len(clear) + 16) // 16 * 16 - len(clear))
    command = ["openssl", "enc", "-aes-128-cbc", "-nopad", "-A", "-base64",
               "-K", key.hex(), "-iv", VECTOR.encode().hex()]
    return subprocess.run(command, input=padded, capture_output=True, check=True).stdout.decode()


for info, bundle in [("ab", "org.example.host"), (None, None), ("2.5β€", "org.exämple.😀"),
                     ("x" * 300, "y" * 5000)]:
    material = "/".join(["(null)" if text is None else text for text in (info, bundle)]
                        + ["1.2.0", "1.0.0"])
    key = block_key(material, text_hash(info or ""))
    print(len(material), text_hash(info or ""), key.hex())
print("short", block_key("abc", 7).hex(), block_key("", 7).hex())
key = block_key("(null)/(null)/1.2.0/1.0.0", 0)
for clear in [b'{"k":"' + b"v" * 24 + b'"}', b'{"k":"' + b"v" * 25 + b'"}']:
    print(len(clear), seal(clear, key))
