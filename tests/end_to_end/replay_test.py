"""Real recordings go through the client and come back frame by frame: from .asc files through a reader that others
wrote, from .bin files byte by byte."""

import logging
import sys

from support import SKIPPED, ClientTest, Frame, arguments, main, nanoseconds, read_bin, read_candump, recordings

try:
    import can
except ImportError:
    print("skipped: python3-can is not installed")
    sys.exit(SKIPPED)

MICROSECOND = 1000  # ns


def read_asc(path):
    """The frames of an .asc file as python-can reads them. Error frames have neither identifier nor data."""
    frames = []
    for message in can.ASCReader(str(path)):
        frames.append(
            Frame(
                time=round(message.timestamp * 1e9),
                channel=message.channel + 1,
                identifier=0 if message.is_error_frame else message.arbitration_id,
                extended=not message.is_error_frame and message.is_extended_id,
                transmitted=not message.is_error_frame and not message.is_rx,
                error=message.is_error_frame,
                fd=message.is_fd,
                brs=message.bitrate_switch,
                esi=message.error_state_indicator,
                data=bytes(message.data),
            )
        )
    return frames


class Replay(ClientTest):
    def assert_same(self, got, expected, tolerance):
        """Same frames, channel by channel in the same order, and all in time order."""
        self.assertEqual(len(got), len(expected))
        times = [frame.time for frame in got]
        self.assertEqual(times, sorted(times))
        for channel in {frame.channel for frame in expected}:
            theirs = [frame for frame in expected if frame.channel == channel]
            ours = [frame for frame in got if frame.channel == channel]
            self.assertEqual(len(ours), len(theirs), f"channel {channel}")
            for index, (our, their) in enumerate(zip(ours, theirs)):
                self.assertLessEqual(abs(our.time - their.time), tolerance, f"frame {index} of channel {channel}")
                self.assertEqual(our._replace(time=0), their._replace(time=0), f"frame {index} of channel {channel}")

    def check(self, recording, *options):
        self.run_client("record", recording, "--speed", "max", "-o", "a.asc", "-o", "a.bin", *options)
        expected = read_candump(recording)
        from_bin = [
            frame._replace(identifier=0, extended=False, data=b"") if frame.error else frame
            for frame in read_bin((self.folder / "a.bin").read_bytes())
        ]
        self.assert_same(from_bin, expected, 0)
        self.assert_same(read_asc(self.folder / "a.asc"), expected, MICROSECOND)

    def test_every_recording_comes_back(self):
        for recording in recordings():
            with self.subTest(recording.name):
                self.check(recording)

    def test_memory_limit_changes_nothing(self):
        for name in ("icsim-sample.log", "css-11111111-12.log", "ecubus-errorframes.log", "canfd-std.log"):
            for recording in recordings():
                if recording.name != name:
                    continue
                for limit in (1, 10, 1000):
                    with self.subTest(name, limit=limit):
                        self.check(recording, "--memory-limit", str(limit))

    def test_live_asc_comes_back_too(self):
        for recording in recordings()[:3]:
            with self.subTest(recording.name):
                self.check(recording, "--asc-live", "--memory-limit", "1000")

    def test_absolute_times_are_those_of_the_recording(self):
        for recording in recordings()[:3]:
            with self.subTest(recording.name):
                start = nanoseconds(recording.read_text().split(maxsplit=1)[0].strip("()"))
                self.run_client("record", f"candump:{recording}?origin=absolute&speed=max", "-o", "a.bin")
                expected = [frame._replace(time=frame.time + start) for frame in read_candump(recording)]
                got = read_bin((self.folder / "a.bin").read_bytes())
                self.assertEqual(sorted(f.time for f in got), sorted(f.time for f in expected))


if __name__ == "__main__":
    arguments.recordings = sys.argv[2]
    if not recordings():
        print("skipped: no recordings in " + sys.argv[2])
        sys.exit(SKIPPED)
    logging.disable(logging.WARNING)  # of the reader, about data lengths
    main()
