"""Recordings of other programs, read by the client: what python-can writes is what it converts."""

import json
import subprocess
import unittest

from asc_test import can_frames, every_kind
from buses_test import read_records
from buses_test import recordings as recordings_of
from readers import event_of
from support import DEADLINE, ClientTest, arguments, main

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

    def test_candump_text_of_python_can_is_read(self):
        # It writes neither the length of a remote frame nor more than three digits of an error's class.
        some = [message for message in messages() if not message.is_remote_frame and not message.is_error_frame]
        self.write("x.log", some)
        frames = self.frames_of("x.log")
        self.assertEqual([found(frame) for frame in frames],
                         [expected(message, message.channel + 1) for message in some])
        for frame, message in zip(frames, some):
            self.assertAlmostEqual(frame.time, message.timestamp * 1e9, delta=2 * MICROSECOND)

    def test_error_and_remote_frames_of_python_cans_candump_text_are_known(self):
        some = [can.Message(timestamp=START, is_error_frame=True),
                can.Message(timestamp=START, arbitration_id=0x123, is_remote_frame=True)]
        self.write("x.log", some)
        frames = self.frames_of("x.log")
        self.assertEqual([frame.error for frame in frames], [True, False])
        self.assertEqual((frames[1].identifier, frames[1].extended, frames[1].data), (0x123, True, b""))


class Replays(ClientTest):
    """What the client converts is what it records from a replay of the same file."""

    def check(self, folder, pattern, scheme, parts):
        recordings = recordings_of(folder, pattern)
        if not recordings:
            self.skipTest(f"no recordings in {folder}")
        for path in recordings:
            with self.subTest(path.name):
                self.run_client("record", f"{scheme}:{path}?origin=absolute&speed=max", "-o", "a.bin")
                self.run_client("convert", path, "-o", "b.bin")
                recorded, converted = ([event_of(record, 0) for record in read_records((self.folder / name).read_bytes())]
                                       for name in ("a.bin", "b.bin"))
                # A replay has the channels in the order of their names, and the frames in that of their times.
                for events in (recorded, converted):
                    events.sort(key=lambda event: (event["time"], *(str(event.get(part)) for part in parts)))
                    for event in events:
                        del event["channel"]
                self.assertEqual(converted, recorded)

    def test_candump_text_is_what_is_replayed(self):
        self.check("can", "*.log", "candump", ("id", "data"))

    def test_csv_of_lin_is_what_is_replayed(self):
        self.check("lin", "*.csv", "csv", ("id", "data"))

    def test_csv_of_flexray_is_what_is_replayed(self):
        self.check("flexray", "*.csv", "csv", ("slot", "side", "data"))


class Everywhere(ClientTest):
    def test_a_log_is_listed_and_converted_like_the_raw_file_it_came_from(self):
        self.run_client("record", "vehicle?seed=5", "-d", "10s", "--speed", "max", "-o", "a.bin", "-o", "a.asc",
                        "--start-time", "2026-11-21T14:30:00.123Z", expect=None)
        self.run_client("convert", "a.asc", "-o", "b.bin", expect=None)
        self.run_client("convert", "b.bin", "-o", "b.asc", expect=None)
        self.assertEqual((self.folder / "b.asc").read_bytes(), (self.folder / "a.asc").read_bytes())
        tables = [self.run_client("list", name, "--json", expect=None)[0] for name in ("a.asc", "b.bin")]
        self.assertEqual(*(json.loads(table) for table in tables))

    def test_a_log_comes_through_a_pipe(self):
        self.run_client("record", "can?seed=1", "-d", "5s", "--speed", "max", "-o", "a.asc")
        text = (self.folder / "a.asc").read_bytes()
        out = subprocess.run([arguments.client, "convert", "-", "-o", "-", "--format", "asc"], input=text,
                             capture_output=True, timeout=DEADLINE, check=True).stdout
        self.assertEqual(out, text)

    def test_a_log_without_its_end_is_a_loss(self):
        self.run_client("record", "can?seed=1", "-d", "5s", "--speed", "max", "-o", "a.asc")
        text = (self.folder / "a.asc").read_bytes()
        (self.folder / "b.asc").write_bytes(text[: len(text) // 2])
        _, err = self.run_client("convert", "b.asc", "-o", "b.bin", expect=3)
        self.assertIn("LOST: a line without its end; at line", err)


if __name__ == "__main__":
    main()
