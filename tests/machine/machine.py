"""A virtual machine for what a build machine's own kernel seldom has: CAN interfaces.

It has Debian's kernel, from its package, and a disk in memory with busybox and the programs of a test. A shell script runs in it as
root; what the script leaves in /results comes back.
"""

import gzip
import io
import lzma
import os
import pathlib
import re
import shutil
import stat
import subprocess
import sys
import tarfile
import tempfile

SKIPPED = 77  # what ctest takes for "skipped"
DEADLINE = 600  # seconds until a machine that doesn't end is taken for dead; never a measure of speed

# In the order in which they can be loaded.
CAN_MODULES = ["can", "can-raw", "can-dev", "vcan", "vxcan"]

INIT = """#!/bin/sh
export PATH=/bin HOME=/
mkdir -p /proc /sys /dev /tmp /results
mount -t proc none /proc
mount -t sysfs none /sys
mount -t devtmpfs none /dev
for module in {modules}; do insmod /modules/$module || echo "cannot load $module"; done
ip link set lo up
cd /results
(sh /script; echo $? >/results/exit) 2>&1 | tee /results/output
stty -F /dev/ttyS1 raw -echo
tar cf - -C /results . | gzip -1 >/dev/ttyS1
poweroff -f
"""


# busybox takes its own ip, which knows too little of CAN, for every other spelling.
PRELUDE = 'ip() { /bin/ip "$@"; }\n'


class CannotRun(Exception):
    """Why this computer can't have such a machine."""


def need(program, package):
    path = shutil.which(program, path=os.environ.get("PATH", "") + ":/usr/sbin:/sbin")
    if path is None:
        raise CannotRun(f"{program} is missing (package {package})")
    return path


def run(*command, **kwargs):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, **kwargs).stdout


class Kernel:
    """Debian's kernel, downloaded and unpacked, not installed."""

    def __init__(self, cache):
        cache.mkdir(parents=True, exist_ok=True)
        found = sorted(cache.glob("unpacked/boot/vmlinuz-*"))
        if not found:
            self.fetch(cache)
            found = sorted(cache.glob("unpacked/boot/vmlinuz-*"))
        if not found:
            raise CannotRun("the kernel's package has no kernel in it")
        self.image = found[-1]
        self.modules = cache / "unpacked"

    @staticmethod
    def fetch(cache):
        need("apt-get", "apt")
        try:
            depends = run("apt-cache", "depends", "linux-image-amd64")
            package = re.search(r"Depends: (linux-image-\S+-amd64)$", depends, re.MULTILINE)[1]
            run("apt-get", "-qq", "download", package, cwd=cache, stdin=subprocess.DEVNULL)
        except (subprocess.CalledProcessError, TypeError) as error:
            why = (getattr(error, "stderr", "") or "it has no kernel package").strip().splitlines()[-1]
            raise CannotRun(f"Debian's kernel can't be downloaded: {why}") from error
        archive = next(cache.glob("linux-image-*.deb"))
        run("dpkg-deb", "-x", archive, cache / "unpacked.part")
        (cache / "unpacked.part").rename(cache / "unpacked")
        archive.unlink()

    def module(self, name):
        for path in self.modules.rglob(f"{name}.ko*"):
            contents = path.read_bytes()
            return lzma.decompress(contents) if path.suffix == ".xz" else contents
        raise CannotRun(f"Debian's kernel has no module {name}")


class Disk:
    """Files of a disk in memory, as the kernel takes them (cpio, newc)."""

    def __init__(self):
        self.files = {}

    def add(self, name, contents, mode=stat.S_IFREG | 0o755):
        folder = os.path.dirname(name)
        if folder and folder not in self.files:
            self.add(folder, b"", stat.S_IFDIR | 0o755)
        self.files.setdefault(name, (mode, contents))

    def add_program(self, path, name=None):
        """A program and the libraries that it is linked with."""
        self.add(name or f"bin/{os.path.basename(path)}", pathlib.Path(path).read_bytes())
        linked = subprocess.run(["ldd", path], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=False)
        for library in re.findall(r"(/\S+) \(0x", linked.stdout):
            self.add(library.lstrip("/"), pathlib.Path(library).read_bytes())

    def write(self, path):
        with gzip.open(path, "wb", compresslevel=1) as out:
            for number, (name, (mode, contents)) in enumerate([*self.files.items(), ("TRAILER!!!", (0, b""))], 1):
                fields = [number, mode, 0, 0, 1, 0, len(contents), 0, 0, 0, 0, len(name) + 1, 0]
                head = b"070701" + b"".join(b"%08X" % field for field in fields) + name.encode() + b"\0"
                out.write(head + bytes(-len(head) % 4) + contents + bytes(-len(contents) % 4))


class Machine:
    """One start of it: runs a script and holds what the script left."""

    def __init__(self, kernel, script, programs=(), files=None, modules=CAN_MODULES):
        qemu = need("qemu-system-x86_64", "qemu-system-x86")
        busybox = need("busybox", "busybox-static")
        disk = Disk()
        disk.add("bin/busybox", pathlib.Path(busybox).read_bytes())
        for applet in run(busybox, "--list").split():
            if applet not in ("busybox", "ip"):
                disk.add(f"bin/{applet}", b"busybox", stat.S_IFLNK | 0o777)
        for program in programs:
            disk.add_program(program)
        for name, contents in (files or {}).items():
            disk.add(name, contents, stat.S_IFREG | 0o644)
        for module in modules:
            disk.add(f"modules/{module}", kernel.module(module))
        disk.add("script", (PRELUDE + script).encode())
        disk.add("init", INIT.format(modules=" ".join(modules)).encode())
        with tempfile.TemporaryDirectory(prefix="qor-trace-machine-") as folder:
            self.start(qemu, kernel, disk, pathlib.Path(folder))

    def start(self, qemu, kernel, disk, folder):
        disk.write(folder / "disk")
        command = [qemu, "-accel", "tcg", "-m", "512", "-smp", "2", "-display", "none", "-no-reboot", "-nic", "none",
                   "-kernel", kernel.image, "-initrd", folder / "disk", "-append", "console=ttyS0 quiet panic=-1",
                   "-serial", f"file:{folder}/console", "-serial", f"file:{folder}/results"]
        try:
            subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, check=True,
                           timeout=DEADLINE)
            with tarfile.open(fileobj=io.BytesIO(gzip.decompress((folder / "results").read_bytes()))) as archive:
                self.results = {member.name.removeprefix("./"): archive.extractfile(member).read()
                                for member in archive if member.isfile()}
        except (OSError, EOFError, tarfile.TarError, subprocess.SubprocessError) as error:
            console = (folder / "console").read_text(errors="replace") if (folder / "console").exists() else ""
            raise AssertionError(f"the machine did not come to its end: {error}\n{console[-3000:]}") from error
        self.exit = int(self.results["exit"])
        self.output = self.results["output"].decode(errors="replace")


def check(cache):
    """Gets what a machine needs. Raises CannotRun without it."""
    for program, package in (("qemu-system-x86_64", "qemu-system-x86"), ("busybox", "busybox-static"), ("ip", "iproute2")):
        need(program, package)
    Kernel(cache)


def skip(reason):
    print(f"skipped: {reason}", file=sys.stderr)
    sys.exit(SKIPPED)
