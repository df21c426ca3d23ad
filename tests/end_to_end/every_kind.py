"""Raw records of every kind that there is: each bus, each kind of event, odd lengths and codes, and malformed ones."""

import itertools
import struct

CAN, LIN, FLEXRAY, ETHERNET = range(4)
FD_LENGTHS = [0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64]
EXTENDED, SENT, ERROR, FD, TRIGGER, BRS, ESI, OVERRUN = (1 << bit for bit in range(8))  # flags of CAN
LIN_SENT, LIN_OVERRUN = 0x40, 0x80


def record(time, channel, bus, payload):
    return struct.pack("<IIQQB3x", 28 + len(payload), channel, time, 0, bus) + payload


def can(identifier=0x123, flags=0, dlc=None, data=b"", reserved=0, announced=None):
    """Made for a time."""
    dlc = next(code for code, length in enumerate(FD_LENGTHS) if length >= len(data)) if dlc is None else dlc
    marks = (flags & EXTENDED) << 31 | (flags & FD) << 27
    announced = len(data) if announced is None else announced
    return CAN, lambda time: struct.pack("<QIBBBB", time, identifier | marks, flags, reserved, dlc, announced) + data


def lin(identifier=0x10, flags=0, data=None, checksum=0x5A, bit_time=416667, reserved=0):
    held = b"" if data is None else data + bytes([checksum])
    body = struct.pack("<HHBBx9sI", reserved, flags, len(held), identifier, held, bit_time)
    return LIN, lambda time: body


def flexray(kind=1, channel=0, flags=0, slot=0, cycle=0, data=b"", crc=0, words=None):
    words = len(data) // 2 if words is None else words
    body = struct.pack("<BBHBBH", channel, flags, slot, cycle, words, crc) + data
    return FLEXRAY, lambda time: struct.pack("<HHQ", 12 + len(body), kind, time) + body


def ethernet(frame, kind=1, flags=0, announced=None):
    body = struct.pack("<BBH", flags, 0, len(frame) if announced is None else announced) + frame
    return ETHERNET, lambda time: struct.pack("<HHQ", 12 + len(body), kind, time) + body


def can_kinds():
    for direction, form in itertools.product((0, SENT), ((0, 0x7FF), (EXTENDED, 0x1FFFFFFF), (EXTENDED, 0x12))):
        flags, identifier = direction | form[0], form[1]
        for dlc in range(16):
            yield can(identifier, flags, dlc, bytes(range(0xF8, 0xF8 + min(dlc, 8))))
            yield can(identifier, flags, dlc)  # remote, or without data
            for switches in (0, BRS, ESI, BRS | ESI):
                yield can(identifier, flags | FD | switches, dlc, bytes(n * 7 % 256 for n in range(FD_LENGTHS[dlc])))
        for code in range(10):
            yield can(0, direction | ERROR, 1, bytes([code]))
    yield can(0x55, ERROR, 5, b"\x02", reserved=3)
    for data in (b"\x00", b"\x01", b"\x02", b"\x07\x01\x02\x03", b"\xff" * 8):
        yield can(0, TRIGGER, None, data)
        yield can(0x77, TRIGGER | EXTENDED, 5, data)
    yield can(reserved=9, data=b"\x01\x02")
    for flags in (0, FD, ERROR):
        yield can(flags=flags | OVERRUN, data=b"\x03")


def lin_kinds():
    for direction, count in itertools.product((0, LIN_SENT), range(9)):
        yield lin(count, direction, bytes(range(1, 1 + count)), 0x30 + count)
        yield lin(0x3F - count, direction | 0x02, bytes(range(1, 1 + count)), 0x40 + count)  # checksum error
    yield lin(1, data=b"", checksum=0)
    yield lin(2)  # nobody answered
    yield lin(2, LIN_SENT)
    yield lin(0x81, data=b"\x01\x02")  # with parity bits
    yield lin(0x81, 0x01, data=b"\x01\x02")  # which are wrong
    yield lin(0x21, 0x04)  # sync error
    yield lin(0x22, 0x48, data=b"\x01")  # transmit error
    yield lin(0x22, 0x48)
    yield lin(0, 0x10)  # event
    yield lin(1, 0x10)
    yield lin(0, 0x20)  # wake-up
    yield lin(3, 0x20 | LIN_SENT)
    yield lin(4, LIN_OVERRUN, b"\x01")
    for bit_time in (0, 7, 8, 400000, 416664, 833333):
        yield lin(5, 0, b"\x01", bit_time=bit_time)


def flexray_kinds():
    for kind, side, flags in itertools.product((1, 2), range(3), (0, 0x02, 0x04, 0x08, 0x18)):
        for data in (b"", b"\x01\x02", bytes(range(254))):
            yield flexray(kind, side, flags, 60 + side, len(data) % 64, data, 0x2A5)
    yield flexray(1, 0, 0, 2047, 63, b"\xff\xff", 0x7FF)
    for cycle in (0, 63):
        yield flexray(3, cycle)
    for state in range(10):
        yield flexray(4, state)
    yield flexray(5)
    for side in range(3):
        yield flexray(6, side)
        for kind in (7, 8, 9, 10):
            yield flexray(kind, slot=side << 8 | 17)
    yield flexray(0)
    yield flexray(0, 1, 0, 5, 6, b"\x01\x02", 7)


def ethernet_kinds():
    addresses = bytes.fromhex("02000000000102000000000f")
    for size, flags in itertools.product((14, 60, 61, 1514), (0, 1, 2)):
        yield ethernet(addresses + b"\x08\x00" + bytes(n * 3 % 256 for n in range(size - 14)), flags=flags)
    yield ethernet(b"\x01\x02\x03\x04", kind=2)
    yield ethernet(addresses + b"\x08\x00", kind=0)


def malformed():
    yield can(data=b"\x01\x02", announced=8)
    yield lin(reserved=1)
    yield flexray(1, data=b"\x01\x02", words=20)
    yield ethernet(bytes(range(60)), announced=100)
    yield 9, lambda time: bytes(20)  # an unknown bus
    yield CAN, lambda time: bytes(10)  # cut short
    yield flexray(77)  # an unknown kind


def every_kind():
    """The records of a raw file: 1.000333 ms apart, each bus on two channels, the malformed ones at the end."""
    items = list(itertools.chain(can_kinds(), lin_kinds(), flexray_kinds(), ethernet_kinds(), malformed()))
    for number, (bus, payload) in enumerate(items):
        time = number * 1000333
        yield record(time, 2 * (bus & 3) + 1 + number % 2, bus, payload(time))
