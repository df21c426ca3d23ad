"""A virtual machine for what a build machine's own kernel seldom has: CAN interfaces.

It has Debian's kernel, from its package, and a disk in memory with busybox and the programs of a test. A shell script runs in it as
root; what the script leaves in /results comes back.
"""

import fcntl
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
import time

SKIPPED = 77  # what ctest takes for "skipped"
DEADLINE = 1000  # seconds until a machine that doesn't end is taken for dead; never a measure of speed

# In the order in which they can be loaded.
CAN_MODULES = ["can", "can-raw", "can-dev", "vcan", "vxcan"]
DRIVE_MODULES = ["virtio_ring", "virtio", "virtio_pci_legacy_dev", "virtio_pci_modern_dev", "virtio_pci", "virtio_blk", "crc16",
                 "crc32c_generic", "libcrc32c", "mbcache", "jbd2", "ext4"]

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
        self.modules = cache / "unpacked"
        cache.mkdir(parents=True, exist_ok=True)
        with open(cache / "lock", "w", encoding="ascii") as lock:  # of several tests that start in an empty folder, one downloads
            fcntl.flock(lock, fcntl.LOCK_EX)
            if not self.modules.exists():
                self.fetch(cache)
        images = sorted(self.modules.glob("boot/vmlinuz-*"))
        if not images:
            raise CannotRun("the kernel's package has no kernel in it")
        self.image = images[-1]

    def fetch(self, cache):
        need("apt-get", "apt")
        try:
            depends = run("apt-cache", "depends", "linux-image-amd64")
            package = re.search(r"Depends: (linux-image-\S+-amd64)$", depends, re.MULTILINE)[1]
            run("apt-get", "-qq", "download", package, cwd=cache, stdin=subprocess.DEVNULL)
        except (subprocess.CalledProcessError, TypeError) as error:
            why = (getattr(error, "stderr", "") or "it has no kernel package").strip().splitlines()[-1]
            raise CannotRun(f"Debian's kernel can't be downloaded: {why}") from error
        archive = next(cache.glob("linux-image-*.deb"))
        part = cache / "unpacked.part"
        shutil.rmtree(part, ignore_errors=True)  # of a run that was killed
        run("dpkg-deb", "-x", archive, part)
        part.rename(self.modules)
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
        for part in pathlib.Path(path).parent.glob(f"lib{os.path.basename(path)}-*.so"):  # loaded while it runs, from where it was
            self.add_program(part, str(part).lstrip("/"))
        linked = subprocess.run(["ldd", path], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=False)
        for library in re.findall(r"(/\S+) \(0x", linked.stdout):
            self.add(library.lstrip("/"), pathlib.Path(library).read_bytes())

    def write(self, path):
        with gzip.open(path, "wb", compresslevel=1) as out:
            for number, (name, (mode, contents)) in enumerate([*self.files.items(), ("TRAILER!!!", (0, b""))], 1):
                fields = [number, mode, 0, 0, 1, 0, len(contents), 0, 0, 0, 0, len(name) + 1, 0]
                head = b"070701" + b"".join(b"%08X" % field for field in fields) + name.encode() + b"\0"
                out.write(head + bytes(-len(head) % 4) + contents + bytes(-len(contents) % 4))


def disk_of(kernel, script, programs, files, modules):
    """The disk in memory that a machine starts from."""
    busybox = need("busybox", "busybox-static")
    disk = Disk()
    disk.add("bin/busybox", pathlib.Path(busybox).read_bytes())
    for program in programs:
        disk.add_program(program)
    for applet in run(busybox, "--list").split():  # where there is no program of that name
        disk.add(f"bin/{applet}", b"busybox", stat.S_IFLNK | 0o777)
    for name, contents in (files or {}).items():
        disk.add(name, contents, stat.S_IFREG | 0o644)
    for module in modules:
        disk.add(f"modules/{module}", kernel.module(module))
    disk.add("script", (PRELUDE + script).encode())
    disk.add("init", INIT.format(modules=" ".join(modules)).encode())
    return disk


def command_of(kernel, folder, counted):
    """How a machine is started whose files are in a folder.

    If it is counted, its clock counts its instructions, 1 ns each, and real time only while it waits: a busy computer makes it late,
    not slow.
    """
    processors = ["-smp", "1", "-icount", "shift=0"] if counted else ["-smp", "2"]
    # On a very busy computer the kernel would take its timer for broken (no_timer_check).
    return [need("qemu-system-x86_64", "qemu-system-x86"), "-accel", "tcg", "-m", "512", *processors, "-display", "none",
            "-no-reboot", "-nic", "none", "-kernel", kernel.image, "-initrd", folder / "disk",
            "-append", "console=ttyS0 quiet panic=-1 no_timer_check", "-serial", f"file:{folder}/console", "-serial", f"file:{folder}/results"]


def console_of(folder):
    console = folder / "console"
    return console.read_text(errors="replace") if console.exists() else ""


class Machine:
    """One start of it: runs a script and holds what the script left."""

    def __init__(self, kernel, script, programs=(), files=None, modules=CAN_MODULES, counted=False):
        with tempfile.TemporaryDirectory(prefix="qor-trace-machine-") as name:
            folder = pathlib.Path(name)
            disk_of(kernel, script, programs, files, modules).write(folder / "disk")
            self.run(command_of(kernel, folder, counted), folder)

    def run(self, command, folder):
        try:
            subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, check=True,
                           timeout=DEADLINE)
            with tarfile.open(fileobj=io.BytesIO(gzip.decompress((folder / "results").read_bytes()))) as archive:
                self.results = {member.name.removeprefix("./"): archive.extractfile(member).read()
                                for member in archive if member.isfile()}
        except (OSError, EOFError, tarfile.TarError, subprocess.SubprocessError) as error:
            raise AssertionError(f"the machine did not come to its end: {error}\n{console_of(folder)[-3000:]}") from error
        self.exit = int(self.results["exit"])
        self.output = self.results["output"].decode(errors="replace")


class DoomedMachine:
    """A start that ends with a power cut. Of its drives, which are files, stays what has been written to them by then."""

    def __init__(self, kernel, folder, script, programs=(), files=None, drives=()):
        self.folder = folder
        disk_of(kernel, script, programs, files, CAN_MODULES + DRIVE_MODULES).write(folder / "disk")
        command = command_of(kernel, folder, counted=True)
        for drive in drives:  # /dev/vda and so on
            command += ["-drive", f"file={drive},format=raw,if=virtio,cache=writeback"]
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.cut()
        self.process.stderr.close()

    def wait_for(self, told):
        """Waits until something can be told from what the machine has shown, and gives it: whatever isn't None."""
        end = time.monotonic() + DEADLINE
        while True:
            shown = console_of(self.folder)
            if (result := told(shown)) is not None:
                return result
            if self.process.poll() is not None or time.monotonic() > end:
                raise AssertionError(f"the machine did not come that far\n{shown[-3000:]}")
            time.sleep(0.02)

    def cut(self):
        self.process.kill()
        self.process.wait()


def check(cache):
    """Gets what a machine needs. Raises CannotRun without it."""
    for program, package in (("qemu-system-x86_64", "qemu-system-x86"), ("busybox", "busybox-static"), ("ip", "iproute2")):
        need(program, package)
    Kernel(cache)


def skip(reason):
    print(f"skipped: {reason}", file=sys.stderr)
    sys.exit(SKIPPED)
