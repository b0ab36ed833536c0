#!/usr/bin/env python3
"""Seed corpora for the boot package, "boot.txt", option ROM and VPD fuzz
targets, made from scratch (scripts/make-boot-package.py builds the package
pieces). Writes OUTDIR/{boot_pkg,boot_txt,optrom,vpd}/seed-*."""
import types
import os
import re
import struct
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
# The package builder's file name is not a module name: run it as one.
mbp = types.ModuleType("make_boot_package")
mbp.__file__ = os.path.join(HERE, "..", "scripts", "make-boot-package.py")
with open(mbp.__file__, encoding="utf-8") as f:
    exec(compile(f.read(), mbp.__file__, "exec"), mbp.__dict__)


def oem_texts():
    with open(mbp.CARD_HEADER, encoding="ascii") as f:
        return dict(re.findall(r'#define (QOR_OEM_\w+) "([^"]*)"', f.read()))


def vpd_template(serial=b"", fwver="02.03.00.00"):
    """The OEM VPD layout: identifier string, VPD-R keywords from 134, end tag."""
    t = oem_texts()
    v = bytearray(512)
    v[0:3] = b"\x82\x80\x00"
    name = t["QOR_OEM_VPD_PRODUCT_NAME"].encode()
    v[3:3 + len(name)] = name
    v[131:134] = b"\x90\xec\x00"
    keywords = [("V0", 16, b"\x23"), ("PN", 16, t["QOR_OEM_VPD_PART_NUMBER"].encode()),
                ("EC", 16, t["QOR_OEM_VPD_EC_LEVEL"].encode()), ("MN", 4, t["QOR_OEM_VPD_MFR_CODE"].encode()),
                ("SN", 16, serial), ("V1", 18, t["QOR_OEM_VPD_VENDOR_TEXT"].encode()),
                ("V2", 14, b"FFV" + fwver.encode()), ("V3", 4, t["QOR_OEM_VPD_V3_TEXT"].encode()),
                ("V4", 4, t["QOR_OEM_VPD_V4_TEXT"].encode()), ("V5", 39, t["QOR_OEM_VPD_MFR_NAME"].encode()),
                ("V6", 6, t["QOR_OEM_VPD_V6_TEXT"].encode()),
                ("V7", 43, b"DCM" + t["QOR_OEM_VPD_CAPABILITY"].encode()), ("RV", 1, b"")]
    at = 134
    for kw, n, data in keywords:
        v[at:at + 3] = kw.encode() + bytes([n])
        v[at + 3:at + 3 + len(data)] = data
        at += 3 + n
    v[at] = 0x78
    v[369] = (256 - sum(v[:369]) % 256) % 256
    return bytes(v)


def write(outdir, target, seeds):
    d = os.path.join(outdir, target)
    os.makedirs(d, exist_ok=True)
    for i, data in enumerate(seeds):
        with open(os.path.join(d, "seed-%02d" % i), "wb") as f:
            f.write(data)


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: make-boot-corpus.py OUTDIR")
    out = sys.argv[1]
    small = mbp.tar_bytes([
        ("boot.txt", b"Version=2.3.0.0\nCARDTYPE=612\nFIRMWARE=fw.bin\nOPTROM=rom.bin\nFWCFG=c\nPORT=0,1\n"),
        ("fw.bin", mbp.firmware_image("3.3.0.0", payload=64)),
        ("rom.bin", mbp.optrom("3.3.0.0", efi=False)),
        ("c", b"cfg")])
    write(out, "boot_pkg", [small, mbp.tar_bytes([("outer.tar", small)]), small[:1024]])
    write(out, "boot_txt", [
        mbp.boot_txt([{"type": 612, "FIRMWARE": "fw.bin", "OPTROM": "rom.bin", "FWCFG": "c", "PORT": [0, 1]},
                      {"type": 632, "OPTROM2": "r2", "BOOTOVL": "b", "PXEOVL": "p"}]),
        b"Version=2.3.0.0\n# c\nCARDTYPE = 611\r\nPORT=0,a\n\nCARDTYPE=621\nCARDTYPE=622\n",
        b"Version=2.3.0.1\n"])
    rom_x86_efi = mbp.optrom("2.3.0.0")
    write(out, "optrom", [b"\x14\x01" + rom_x86_efi, b"\x13\x01" + mbp.optrom("3.1.0.0", efi=False),
                          b"\x21\x00" + mbp.optrom_image(3, 0x13, "", 2, True)])
    # VPD target input: 512 VPD bytes, VPD version, 12-byte serial, 11-character version.
    tail = b"HX1234567890" + b"02.03.00.00"
    write(out, "vpd", [vpd_template(b"OWNSERIAL123") + b"\x03" + tail,
                       vpd_template(fwver="01.00.00.00") + b"\x03" + tail,
                       bytes(512) + b"\x01" + tail])
    return 0


if __name__ == "__main__":
    sys.exit(main())
