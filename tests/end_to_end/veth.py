"""Pairs of veth interfaces in a network namespace of the caller's own, and what is recorded of them."""

import ctypes
import os
import pathlib
import socket
import struct
import subprocess

CLONE_NEWNET, CLONE_NEWUSER = 0x40000000, 0x10000000


class Unavailable(Exception):
    """Why this machine has no such interfaces for us."""


def enter_namespace():
    """A network namespace for this process and its children; a user of its own where only that allows one.

    Raises Unavailable where there can't be one, or no veth interfaces in it."""
    try:
        unshare()
        add_pair("veth0", "veth1")
        remove_pair("veth0")
    except (OSError, subprocess.SubprocessError) as reason:
        raise Unavailable(f"{reason} {(getattr(reason, 'stderr', b'') or b'').decode()}") from reason


def unshare():
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.unshare(CLONE_NEWNET) == 0:
        return
    user, group = os.getuid(), os.getgid()
    if libc.unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0:
        raise OSError(ctypes.get_errno(), "no network namespace can be made")
    pathlib.Path("/proc/self/setgroups").write_text("deny")
    pathlib.Path("/proc/self/uid_map").write_text(f"0 {user} 1")
    pathlib.Path("/proc/self/gid_map").write_text(f"0 {group} 1")


def ip(*args):
    subprocess.run(["ip", *args], check=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE)


def add_pair(*names):
    """Two interfaces that are each other's other end; up, and silent unless somebody sends."""
    ip("link", "add", names[0], "type", "veth", "peer", "name", names[1])
    for name in names:
        ipv6 = pathlib.Path(f"/proc/sys/net/ipv6/conf/{name}/disable_ipv6")
        if ipv6.exists():
            ipv6.write_text("1")
        ip("link", "set", name, "mtu", "9000", "up")


def remove_pair(name):
    subprocess.run(["ip", "link", "del", name], stderr=subprocess.DEVNULL, check=False)


def sender(name):
    """A socket that sends whole frames over an interface."""
    opened = socket.socket(socket.AF_PACKET, socket.SOCK_RAW)
    opened.bind((name, 0))
    return opened


def ethernet_records(contents):
    """(channel, time, transmitted, frame) of each record of a .bin file."""
    offset = 0
    while offset < len(contents):
        length, channel, time, _, bus = struct.unpack_from("<IIQQB3x", contents, offset)
        if bus != 3:
            raise ValueError(f"no Ethernet record at {offset}")
        _, kind, item_time, flags, _, size = struct.unpack_from("<HHQBBH", contents, offset + 28)
        if kind != 1 or item_time != time or size != length - 44:
            raise ValueError(f"odd record at {offset}")
        yield channel, time, bool(flags & 1), contents[offset + 44 : offset + length]
        offset += length
