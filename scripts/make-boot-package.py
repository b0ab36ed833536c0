#!/usr/bin/env python3
"""Builds a boot image package for this adapter family.

The package is a ustar archive: "boot.txt" first, then the images it names.
It carries one card description per model of the family (the models are
read from include/defs/qor_defs_card.h): firmware, option ROM (an x86 image
and an EFI image), boot or PXE overlay and firmware configuration for every
port. The images are the emulator's formats (docs/topology.md, "Flash"):
a firmware image starts with "QXFW" and its version and its 32-bit words
XOR to 0; an option ROM carries its version at the x86 image's version
pointer. Standard library only.

    scripts/make-boot-package.py -o pkg.tar [--version 3.3.0.0] [--wrap]
"""
import argparse
import io
import os
import re
import struct
import sys
import tarfile

HERE = os.path.dirname(os.path.abspath(__file__))
CARD_HEADER = os.path.join(HERE, "..", "include", "defs", "qor_defs_card.h")

PKG_VERSION = "2.3.0.0"
VENDOR_ID = 0xF1E0


def card_models(header=CARD_HEADER):
    """(code, ports, converged) of every model in the family's table."""
    with open(header, encoding="ascii") as f:
        text = f.read()
    rows = re.findall(r"X\((\d+),\s*\"[^\"]*\",\s*(\d+),\s*(\d+),\s*([01]),", text)
    return [(int(code), int(ports), cna == "1") for code, ports, _, cna in rows]


def firmware_image(version, payload=65536, seed=1):
    """"QXFW", the version in 32 bytes, payload bytes, and a last word that
    makes the XOR of all little-endian 32-bit words 0."""
    body = bytearray(b"QXFW" + version.encode("ascii")[:31].ljust(32, b"\0"))
    body += bytes((i * 13 + seed) & 0xFF for i in range(payload))
    body += b"\0" * (-len(body) % 4)
    x = 0
    for (w,) in struct.iter_unpack("<I", body):
        x ^= w
    return bytes(body + struct.pack("<I", x))


def _fix_sum(b, start, length, at):
    b[at] = 0
    b[at] = (256 - sum(b[start:start + length]) % 256) % 256


def optrom_image(codetype, devid, version, units, last):
    """One PCI expansion ROM image: header, PCI data structure at 0x40 and,
    for x86 (codetype 0), a PnP header at 0x60 and the version at 0x90."""
    b = bytearray(units * 512)
    for i in range(0xA0, len(b) - 1):
        b[i] = (i * 7 + codetype) & 0xFF
    struct.pack_into("<HB", b, 0, 0xAA55, units)
    struct.pack_into("<H", b, 0x18, 0x40)
    struct.pack_into("<4sHHHHB3sHHBB", b, 0x40, b"PCIR", VENDOR_ID, devid, 0, 28, 3,
                     bytes([0, 4, 0x0C]), units, 0, codetype, 0x80 if last else 0)
    if codetype == 0:
        struct.pack_into("<H", b, 0x16, 0x90)
        struct.pack_into("<H", b, 0x1A, 0x60)
        struct.pack_into("<4sBB", b, 0x60, b"$PnP", 1, 2)
        struct.pack_into("<I", b, 0x60 + 10, devid << 16 | VENDOR_ID)
        _fix_sum(b, 0x60, 32, 0x60 + 9)
        b[0x90:0x90 + len(version) + 1] = version.encode("ascii") + b"\0"
    _fix_sum(b, 0, len(b), len(b) - 1)
    return bytes(b)


def optrom(version, devid=0x13, efi=True):
    """An option ROM member: an x86 image, then (by default) an EFI image."""
    rom = optrom_image(0, devid, version, 4, not efi)
    if efi:
        rom += optrom_image(3, devid, version, 6, True)
    return rom


def filler(tag, size):
    return bytes((i * 31 + len(tag)) & 0xFF for i in range(size)) if size else b""


def boot_txt(cards, version=PKG_VERSION):
    lines = ["Version=" + version, "# Boot image package of the emulated adapter family"]
    for card in cards:
        lines.append("CARDTYPE=%d" % card["type"])
        for key in ("FIRMWARE", "OPTROM", "OPTROM2", "BOOTOVL", "PXEOVL", "FWCFG"):
            if card.get(key):
                lines.append("%s=%s" % (key, card[key]))
        if card.get("PORT"):
            lines.append("PORT=" + ",".join("%x" % p for p in card["PORT"]))
        lines.append("")
    return ("\n".join(lines) + "\n").encode("ascii")


def tar_bytes(members):
    """A ustar archive of (name, bytes) pairs, in order."""
    out = io.BytesIO()
    with tarfile.open(fileobj=out, mode="w", format=tarfile.USTAR_FORMAT) as t:
        for name, data in members:
            info = tarfile.TarInfo(name)
            info.size = len(data)
            info.mode = 0o644
            info.mtime = 1700000000
            t.addfile(info, io.BytesIO(data))
    return out.getvalue()


def package(version="3.3.0.0", wrap=False):
    """The whole package: every model, FC and converged cards sharing images."""
    images = {
        "fc_fw.bin": firmware_image(version, seed=1),
        "fc_rom.bin": optrom(version),
        "fc_bootovl.bin": filler("fc_bootovl", 8192),
        "fc_cfg.bin": filler("fc_cfg", 2048),
        "cna_fw.bin": firmware_image(version, seed=2),
        "cna_rom.bin": optrom(version),
        "cna_rom2.bin": optrom(version, efi=False),
        "cna_pxe.bin": filler("cna_pxe", 16384),
        "cna_cfg.bin": filler("cna_cfg", 2048),
    }
    cards = []
    for code, ports, cna in card_models():
        p = "cna" if cna else "fc"
        card = {"type": code, "FIRMWARE": p + "_fw.bin", "OPTROM": p + "_rom.bin",
                "FWCFG": p + "_cfg.bin", "PORT": list(range(ports))}
        if cna:
            card.update(OPTROM2="cna_rom2.bin", PXEOVL="cna_pxe.bin")
        else:
            card.update(BOOTOVL="fc_bootovl.bin")
        cards.append(card)
    data = tar_bytes([("boot.txt", boot_txt(cards))] + sorted(images.items()))
    return tar_bytes([("boot-%s.tar" % version, data)]) if wrap else data


def main(argv=None):
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("-o", "--output", required=True, help="package file to write ('-' for stdout)")
    ap.add_argument("--version", default="3.3.0.0",
                    help="firmware and option ROM version, four single digits d.d.d.d (default 3.3.0.0)")
    ap.add_argument("--wrap", action="store_true", help="wrap the package in an outer archive")
    args = ap.parse_args(argv)
    if not re.fullmatch(r"\d\.\d\.\d\.\d", args.version):
        ap.error("--version must be four single digits, like 3.3.0.0")
    data = package(args.version, args.wrap)
    if args.output == "-":
        sys.stdout.buffer.write(data)
    else:
        tmp = args.output + ".tmp"
        with open(tmp, "wb") as f:
            f.write(data)
        os.replace(tmp, args.output)
    return 0


if __name__ == "__main__":
    sys.exit(main())
