#!/usr/bin/env python3
"""Checks the archives that zip_fixtures wrote with programs that are not ours: `unzip -t`,
`7z t`, and Python's zipfile, which must read every entry back byte for byte as the manifest
says, with the entries in the manifest's order. `unzip -Z1`, `7z l` and Python's zipfile must
list exactly the entry names we wrote. ZIP64 must be used exactly where it is needed.

    check_archives.py FOLDER
"""
import os
import shutil
import struct
import subprocess
import sys
import zipfile
from pathlib import Path

CHUNK = 16 << 20


def run(command):
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    if result.returncode != 0:
        sys.exit(f"FAILED: {' '.join(map(str, command))}\n{result.stdout.decode(errors='replace')[-2000:]}")


def listed(command, prefix=""):
    """The entry names a program lists, one a line, read as UTF-8 whatever the locale."""
    env = dict(os.environ, LC_ALL="C.UTF-8")
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, env=env)
    if result.returncode != 0:
        sys.exit(f"FAILED: {' '.join(map(str, command))}\n{result.stdout.decode(errors='replace')[-2000:]}")
    lines = result.stdout.decode("utf-8", errors="surrogateescape").splitlines()
    return [line[len(prefix):] for line in lines if line.startswith(prefix)]


def same_bytes(archive, info, source):
    if info.file_size > 1 << 30:
        # The huge fixture is a sparse file of zeros: reading it back would only cost time.
        zeros = bytes(CHUNK)
        with archive.open(info) as packed:
            while True:
                a = packed.read(CHUNK)
                if a != zeros[:len(a)]:
                    return False
                if not a:
                    return True
    with archive.open(info) as packed, open(source, "rb") as original:
        while True:
            a = packed.read(CHUNK)
            b = original.read(CHUNK)
            if a != b:
                return False
            if not a:
                return True


def has_zip64_end(path):
    with open(path, "rb") as f:
        f.seek(-22 - 20 - 24, 2)
        tail = f.read()
    return b"PK\x06\x07" in tail


def main():
    folder = Path(sys.argv[1])
    for tool in ("unzip", "7z"):
        if not shutil.which(tool):
            print(f"SKIPPED: {tool} is not installed (tools/setup installs it)")
            return
    manifest = {}
    for line in (folder / "manifest.tsv").read_text(encoding="utf-8").splitlines():
        archive, name, source = line.split("\t")
        manifest.setdefault(archive, []).append((name, folder / source))
    if not manifest:
        sys.exit("FAILED: empty manifest")

    for archive_name, expected in manifest.items():
        path = folder / archive_name
        run(["unzip", "-tqq", path])
        run(["7z", "t", "-bd", "-tzip", path])
        names = [name for name, _ in expected]
        if listed(["unzip", "-Z1", path]) != names:
            sys.exit(f"FAILED: {archive_name}: unzip -Z1 lists other names than we wrote")
        if listed(["7z", "l", "-slt", "-ba", "-tzip", path], "Path = ") != names:
            sys.exit(f"FAILED: {archive_name}: 7z lists other names than we wrote")
        with zipfile.ZipFile(path) as archive:
            infos = archive.infolist()
            if [info.filename for info in infos] != names:
                sys.exit(f"FAILED: {archive_name}: Python's zipfile lists other names or another order")
            for info, (name, source) in zip(infos, expected):
                if not info.flag_bits & 0x800:
                    sys.exit(f"FAILED: {archive_name}: {name} lacks the UTF-8 flag")
                if info.file_size != source.stat().st_size or not same_bytes(archive, info, source):
                    sys.exit(f"FAILED: {archive_name}: {name} differs from {source}")
                if b"UT\x05\x00\x01" not in info.extra:
                    sys.exit(f"FAILED: {archive_name}: {name} lacks the extended timestamp")
                if (info.file_size >= 0xFFFFFFFF) != (b"\x01\x00" == info.extra[:2]):
                    sys.exit(f"FAILED: {archive_name}: {name}: ZIP64 field where not needed, or missing")
            needs_zip64 = len(infos) >= 0xFFFF or path.stat().st_size >= 0xFFFFFFFF
            if has_zip64_end(path) != needs_zip64:
                sys.exit(f"FAILED: {archive_name}: ZIP64 end record {'missing' if needs_zip64 else 'not needed'}")
        print(f"{archive_name}: {len(expected)} entries ok")


if __name__ == "__main__":
    main()
