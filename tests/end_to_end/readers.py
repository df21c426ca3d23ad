"""Readers of the files that the client writes, most of them other people's. Each gives the events that it finds as
dictionaries, with the fields that it can tell and no others:

  time       ns since 1970
  channel    from 1 on
  kind       "can", "can remote", "can error", "lin", "lin error", "lin wake-up", "flexray", "flexray null", "ethernet",
             "ethernet crc error"; others are not compared
  sent       True if the interface sent it
  data       bytes, without checksums
  id, extended, fd, brs, esi, length (CAN); id, checksum (LIN); slot, cycle, side, crc, flags (FlexRay)
"""

import datetime
import json
import logging
import re
import shutil
import struct
import subprocess

from buses_test import CAN, ETHERNET, FLEXRAY, LIN, read_records
from mdf_test import Reader as MdfReader
from support import nanoseconds

SECOND = 10**9
FLEXRAY_NULL = 4


def of_bin(path, start):
    """All events of a raw file whose clock has its 0 at `start` (ns since 1970): what the others are held against."""
    return [event_of(record, start) for record in read_records(path.read_bytes())]


def event_of(record, start):
    bus, channel, time_ns, payload = record
    event = {"time": start + time_ns, "channel": channel, "kind": "other"}
    event.update({CAN: can_fields, LIN: lin_fields, FLEXRAY: flexray_fields, ETHERNET: ethernet_fields}[bus](payload))
    return event


def can_fields(payload):
    _, identifier, flags, _, dlc, size = struct.unpack_from("<QIBBBB", payload)
    if flags & 0x10:
        return {}
    if flags & 0x04:
        return {"kind": "can error", "sent": bool(flags & 2)}
    fd = bool(flags & 8)
    remote = not fd and size == 0 and dlc != 0
    return {
        "kind": "can remote" if remote else "can",
        "sent": bool(flags & 2),
        "id": identifier & 0x1FFFFFFF,
        "extended": bool(flags & 1),
        "fd": fd,
        "brs": bool(flags & 0x20),
        "esi": bool(flags & 0x40),
        "length": dlc if remote else size,
        "data": payload[16 : 16 + size],
    }


def lin_fields(payload):
    _, flags, size, identifier, _ = struct.unpack_from("<HHBBB", payload)
    if flags & 0x48 == 0x48:
        return {"kind": "lin error", "id": identifier & 0x3F}
    if flags & 0x07:
        return {"kind": "lin error"}
    if flags & 0x90:
        return {}
    if flags & 0x20:
        return {"kind": "lin wake-up"}
    data = payload[7 : 7 + size]
    return {"kind": "lin", "sent": bool(flags & 0x40), "id": identifier & 0x3F, "data": data[:-1], "checksum": data[-1]}


def flexray_fields(payload):
    size, kind, _, channel, flags, slot, cycle, words, crc = struct.unpack_from("<HHQBBHBBH", payload.ljust(20, b"\0"))
    if kind not in (1, 2):
        return {}
    null = bool(flags & FLEXRAY_NULL)
    data = payload[20 : 20 + 2 * words]
    return {
        "kind": "flexray null" if null else "flexray",
        "sent": kind == 2,
        "slot": slot,
        "cycle": cycle,
        "side": "A B AB".split()[channel],
        "crc": crc,
        "flags": flags & 0x1E,
        **({} if null else {"data": data}),
    }


def ethernet_fields(payload):
    _, kind, _, flags = struct.unpack_from("<HHQB", payload)
    if kind != 1:
        return {}
    return {
        "kind": "ethernet crc error" if flags & 2 else "ethernet",
        "sent": bool(flags & 1),
        "data": payload[16:],
    }


def one_for_each_side(events):
    """FlexRay frames of both channels as the two that most formats make of them."""
    for event in events:
        if event.get("side") == "AB":
            yield {**event, "side": "A"}
            yield {**event, "side": "B"}
        else:
            yield event


# ---- ASC ------------------------------------------------------------------------------------------------------------


def asc_start(path):
    """The date in the head of an .asc file, which is local time with milliseconds, in ns since 1970."""
    with open(path) as file:
        words = file.readline().split()
    moment = datetime.datetime.strptime(" ".join(words[2:]), "%b %d %I:%M:%S.%f %p %Y")
    return round(moment.timestamp() * 1000) * (SECOND // 1000)


def of_python_can(path, start):
    """What python-can reads from an .asc file. It can't tell an FD frame's lack of data from a remote frame."""
    import can

    logging.disable(logging.WARNING)
    for message in can.ASCReader(str(path)):
        event = {"time": start + round(message.timestamp * SECOND), "channel": message.channel + 1}
        if message.is_error_frame:
            yield {**event, "kind": "can error"}
            continue
        yield {
            **event,
            "kind": "can remote" if message.is_remote_frame and not message.is_fd else "can",
            "sent": not message.is_rx,
            "id": message.arbitration_id,
            "extended": message.is_extended_id,
            "fd": message.is_fd,
            "brs": message.bitrate_switch,
            "esi": message.error_state_indicator,
            "length": message.dlc,
            "data": bytes(message.data),
        }


CANDUMP = re.compile(r"\((\d+\.\d+)\) can(\d+) ([0-9A-F]+)#(\S*)(?: ([RT]))?$")


def of_asc2log(path, first):
    """What can-utils' asc2log makes of an .asc file. It numbers interfaces from 0.

    It reads the date only where certain locales are installed, and counts from the moment at which it runs elsewhere; so the times
    count from the first frame, which was at `first`. A whole second that it comes to by adding stands as "1.1000000".
    """
    with open(path, "rb") as file:
        result = subprocess.run(["asc2log"], stdin=file, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True)
    start = None
    for line in result.stdout.decode().splitlines():
        stamp, interface, identifier, rest, direction = CANDUMP.match(line.strip()).groups()
        seconds, microseconds = map(int, stamp.split("."))
        moment = (seconds * 1_000_000 + microseconds) * 1000
        start = moment if start is None else start
        event = {"time": first + moment - start, "channel": int(interface) + 1}
        number = int(identifier, 16)
        if len(identifier) == 8 and number & 0x20000000:
            yield {**event, "kind": "can error"}
            continue
        event.update(kind="can", id=number, extended=len(identifier) == 8, fd=False, brs=False, esi=False)
        if direction:
            event["sent"] = direction == "T"
        if rest.startswith("R"):
            yield {**event, "kind": "can remote", "length": int(rest[1:] or "0")}
        elif rest.startswith("#"):
            flags, data = int(rest[1], 16), bytes.fromhex(rest[2:])
            yield {**event, "fd": True, "brs": bool(flags & 1), "esi": bool(flags & 2), "data": data}
        else:
            data = bytes.fromhex(rest.split("_")[0])
            yield {**event, "data": data, "length": len(data)}


# ---- PCAPNG ---------------------------------------------------------------------------------------------------------

TSHARK_FIELDS = (
    "frame.time_epoch frame.interface_name frame.packet_flags_direction frame.packet_flags_crc_error "
    "can.id can.flags.xtd can.flags.rtr can.flags.err can.len canfd.flags.brs canfd.flags.esi "
    "lin.frame_id lin.checksum lin.errors lin.event_id lin.message_type "
    "flexray.fid flexray.cc flexray.ch flexray.hcrc flexray.ppi flexray.nfi flexray.sfi flexray.stfi "
    "data.data frame.protocols frame.interface_id"
).split()


def of_tshark(path):
    """What tshark dissects. Of Ethernet frames, their bytes."""
    command = ["tshark", "-n", "-r", str(path), "--disable-protocol", "iso15765", "-T", "fields"]
    for field in TSHARK_FIELDS:
        command += ["-e", field]
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True)
    frames = {}
    for line in result.stdout.decode().splitlines():
        row = dict(zip(TSHARK_FIELDS, line.split("\t")))
        bus, _, channel = row["frame.interface_name"].partition("-")
        event = {
            "time": nanoseconds(row["frame.time_epoch"]),
            "channel": int(channel),
            "sent": int(row["frame.packet_flags_direction"], 0) == 2,
        }
        if bus == "ETH":
            interface = row["frame.interface_id"]
            if interface not in frames:
                frames[interface] = ethernet_frames(path, interface)
            wrong = row["frame.packet_flags_crc_error"] in ("1", "True")
            yield {**event, "kind": "ethernet crc error" if wrong else "ethernet", "data": next(frames[interface])}
        else:
            yield {**event, **{"CAN": tshark_can, "LIN": tshark_lin, "FR": tshark_flexray}[bus](row)}


def ethernet_frames(path, interface):
    """The bytes of the frames of an interface, in the order of the file."""
    command = ["tshark", "-n", "-r", str(path), "-Y", f"frame.interface_id == {interface}", "-T", "jsonraw", "-j", "frame"]
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True)
    for packet in json.loads(result.stdout):
        yield bytes.fromhex(packet["_source"]["layers"]["frame_raw"][0])


def tshark_can(row):
    if row["can.flags.err"] == "1":
        return {"kind": "can error"}
    fd = row["canfd.flags.brs"] != ""
    remote = row["can.flags.rtr"] == "1"
    return {
        "kind": "can remote" if remote else "can",
        "id": int(row["can.id"]),
        "extended": row["can.flags.xtd"] == "1",
        "fd": fd,
        "brs": row["canfd.flags.brs"] == "1",
        "esi": row["canfd.flags.esi"] == "1",
        "length": int(row["can.len"]),
        "data": b"" if remote else bytes.fromhex(row["data.data"]),
    }


def tshark_lin(row):
    if row["lin.message_type"] == "3":
        return {"kind": "lin wake-up"}
    if int(row["lin.errors"] or "0", 0):
        return {"kind": "lin error"}
    return {
        "kind": "lin",
        "id": int(row["lin.frame_id"], 0),
        "checksum": int(row["lin.checksum"], 0),
        "data": bytes.fromhex(row["data.data"]),
    }


def tshark_flexray(row):
    def bit(name, value):
        return value if row["flexray." + name] == "1" else 0

    flags = bit("ppi", 2) | (4 ^ bit("nfi", 4)) | bit("sfi", 8) | bit("stfi", 16)
    event = {
        "kind": "flexray null" if flags & FLEXRAY_NULL else "flexray",
        "slot": int(row["flexray.fid"]),
        "cycle": int(row["flexray.cc"]),
        "side": "AB"[int(row["flexray.ch"])],
        "crc": int(row["flexray.hcrc"]),
        "flags": flags,
    }
    return event if flags & FLEXRAY_NULL else {**event, "data": bytes.fromhex(row["data.data"])}


# ---- MDF ------------------------------------------------------------------------------------------------------------

LIN_ERRORS = ("ChecksumError", "ReceiveError", "SyncError", "TransmissionError")


def of_mdf(path):
    """The events of a measurement file, found by the names of its groups and channels."""
    reader = MdfReader(path.read_bytes())
    events = [event for group in reader.groups for event in mdf_group(group, reader.start)]
    return sorted(events, key=lambda event: event["time"])


def mdf_group(group, start):
    make = MDF_EVENTS.get(group.event)
    if make is None:
        return
    for record in group.records:

        def value(name):
            return group.value(record, name)

        channel = int(re.search(r"\d+$", group.name)[0])
        yield {"time": start + value("t"), "channel": channel, **make(value)}


def mdf_can(kind):
    def make(value):
        event = {
            "kind": kind,
            "sent": bool(value("Dir")),
            "id": value("ID") & 0x1FFFFFFF,
            "extended": bool(value("IDE")),
        }
        if kind == "can remote":
            return {**event, "length": value("DLC")}
        return {
            **event,
            "fd": bool(value("EDL")),
            "brs": bool(value("BRS")),
            "esi": bool(value("ESI")),
            "length": value("DataLength"),
            "data": value("DataBytes")[: value("DataLength")],
        }

    return make


def mdf_lin(value):
    size = value("ReceivedDataByteCount")
    return {
        "kind": "lin",
        "sent": bool(value("Dir")),
        "id": value("ID"),
        "checksum": value("Checksum"),
        "data": value("DataBytes")[:size],
    }


def mdf_flexray(value):
    null = bool(value("NullFrameFlag"))
    flags = value("PayloadPreambleFlag") * 2 + null * 4 + value("SyncFrameFlag") * 8 + value("StartUpFrameFlag") * 16
    event = {
        "kind": "flexray null" if null else "flexray",
        "sent": bool(value("Dir")),
        "slot": value("ID"),
        "cycle": value("Cycle"),
        "side": "AB"[value("FlxChannel")],
        "crc": value("HeaderCRC"),
        "flags": flags,
    }
    return event if null else {**event, "data": value("DataBytes")}


def mdf_ethernet(kind):
    def make(value):
        head = value("Destination") + value("Source") + value("EtherType").to_bytes(2, "big")
        return {"kind": kind, "sent": bool(value("Dir")), "data": head + value("DataBytes")}

    return make


MDF_EVENTS = {
    "CAN_DataFrame": mdf_can("can"),
    "CAN_RemoteFrame": mdf_can("can remote"),
    "CAN_ErrorFrame": lambda value: {"kind": "can error", "sent": bool(value("Dir"))},
    "LIN_Frame": mdf_lin,
    "LIN_WakeUp": lambda value: {"kind": "lin wake-up"},
    **{"LIN_" + error: lambda value: {"kind": "lin error"} for error in LIN_ERRORS},
    "FLX_Frame": mdf_flexray,
    "FLX_NullFrame": mdf_flexray,
    "ETH_Frame": mdf_ethernet("ethernet"),
    "ETH_ChecksumError": mdf_ethernet("ethernet crc error"),
}


def missing_programs():
    """Why the readers that others wrote can't be asked, or nothing."""
    absent = [name for name in ("tshark", "asc2log") if shutil.which(name) is None]
    try:
        import can  # noqa: F401
    except ImportError:
        absent.append("python3-can")
    return ", ".join(absent)
