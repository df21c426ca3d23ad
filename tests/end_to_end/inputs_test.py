"""Recordings of other programs, read by the client: what python-can writes is what it converts."""

import unittest

from asc_test import FD_LENGTHS, can_frames, every_kind
from support import ClientTest, main

try:
    import can
except ImportError:
    can = None

MICROSECOND = 1000  # ns
START = 1794733219.123  # 15 November 2026


def messages():
    """Every format, direction, flag and length, as python-can has them; a millisecond and a half apart."""
    for number, frame in enumerate(can_frames(every_kind())):
        yield can.Message(
            timestamp=START + number * 0.0015,
            channel=frame.channel - 1,
            arbitration_id=frame.identifier,
            is_extended_id=frame.extended,
            is_rx=not frame.transmitted,
            is_error_frame=frame.error,
            is_remote_frame=frame.remote,
            is_fd=frame.fd,
            bitrate_switch=frame.brs,
            error_state_indicator=frame.esi,
            dlc=frame.length,
            data=None if frame.remote or frame.error else frame.data,
        )


def expected(message, channel):
    """What a record can tell of it, without its time."""
    if message.is_error_frame:
        return (1, "error")  # python-can has no other channel for them
    return (
        channel,
        message.arbitration_id,
        message.is_extended_id,
        not message.is_rx,
        message.is_remote_frame and message.dlc > 0,
        message.is_fd,
        message.bitrate_switch,
        message.error_state_indicator,
        message.dlc,
        bytes(message.data),
    )


def found(frame):
    if frame.error:
        return (frame.channel, "error")
    return (frame.channel, *frame[2:5], frame.remote, frame.fd, frame.brs, frame.esi, frame.length, frame.data)


@unittest.skipUnless(can, "the package python3-can is not installed")
class PythonCan(ClientTest):
    def write(self, name, some):
        with can.Logger(str(self.folder / name)) as logger:
            for message in some:
                logger.on_message_received(message)

    def frames_of(self, name):
        self.run_client("convert", name, "-o", "a.bin")
        return can_frames((self.folder / "a.bin").read_bytes())

    def test_asc_of_python_can_is_read(self):
        some = list(messages())
        self.write("x.asc", some)
        frames = self.frames_of("x.asc")
        self.assertEqual([found(frame) for frame in frames], [expected(message, message.channel + 1) for message in some])
        for frame, message in zip(frames, some):
            self.assertAlmostEqual(frame.time - frames[0].time, (message.timestamp - START) * 1e9, delta=2 * MICROSECOND)

    def test_asc_of_python_can_keeps_its_date(self):
        self.write("x.asc", list(messages())[:2])
        self.run_client("convert", "x.asc", "-o", "y.asc")
        with can.ASCReader(str(self.folder / "y.asc"), relative_timestamp=False) as reader:
            self.assertAlmostEqual(next(iter(reader)).timestamp, START, places=6)


if __name__ == "__main__":
    main()
