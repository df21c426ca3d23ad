"""What the client does to files: its own, those of others, and those that are left over."""

import os
import signal

from support import ClientTest, main, read_bin

QUICK = "can?duration=1s&speed=max"


class Claims(ClientTest):
    NAMES = {"asc": "x.asc.part", "bin": "x.bin.part", "pcapng": "x.pcapng.part", "mf4": "x.part.mf4"}  # by extension: while it is written

    def recording(self, *names):
        """An endless recording that has made its files."""
        outputs = [argument for name in names for argument in ("-o", name)]
        process = self.start("record", "can", *outputs)
        parts = [self.folder / self.NAMES[name.partition(".")[2]] for name in names]
        self.wait_until(lambda: all(part.exists() and part.stat().st_size > 0 for part in parts), "something recorded")
        return process

    def contents(self):
        return {name: (self.folder / name).read_bytes() for name in self.files() if (self.folder / name).is_file()}

    def test_second_process_is_refused_and_told_who_writes(self):
        first = self.recording(*[f"x.{extension}" for extension in self.NAMES])
        for extension in self.NAMES:
            with self.subTest(extension=extension):
                before = self.files()
                _, err = self.run_client("record", QUICK, "-o", "y.bin", "-o", f"x.{extension}", expect=1)
                self.assertIn(f"process {first.pid} is writing it", err)
                self.assertIn(f"x.{extension}", err)
                self.assertEqual(self.files(), before)  # nothing of y.bin either
        first.send_signal(signal.SIGINT)
        _, err = first.communicate()
        self.assertIn(first.returncode, (0, 3), err)
        self.assertEqual(self.files(), ["x.asc", "x.bin", "x.bin.json", "x.mf4", "x.pcapng"])
        self.assertGreater(len(read_bin((self.folder / "x.bin").read_bytes())), 0)

    def test_part_file_of_a_crash_is_refused_until_it_is_taken_away(self):
        process = self.recording(*[f"x.{extension}" for extension in self.NAMES])
        process.kill()
        process.wait()
        left = self.contents()
        self.assertEqual(sorted(left), sorted([*self.NAMES.values(), "x.bin.json.part"]))
        for extension, part in self.NAMES.items():
            with self.subTest(extension=extension):
                _, err = self.run_client("record", QUICK, "-o", f"x.{extension}", expect=1)
                self.assertIn(f'{part}" is left over from a run that was cut off; rename it', err)
                self.assertEqual(self.contents(), left)
        (self.folder / "x.bin.part").unlink()
        _, err = self.run_client("record", QUICK, "-o", "x.bin", expect=1)
        self.assertIn('x.bin.json.part" is left over from a run that was cut off; rename it', err)
        (self.folder / "x.bin.json.part").unlink()
        for extension, part in self.NAMES.items():
            (self.folder / part).unlink(missing_ok=True)
            self.run_client("record", QUICK, "-o", f"x.{extension}", expect=None)
        self.assertEqual(sorted(self.contents()), ["x.asc", "x.bin", "x.bin.json", "x.mf4", "x.pcapng"])

    def test_planted_links_are_not_followed(self):
        (self.folder / "victim").write_text("precious")
        for extension, part in self.NAMES.items():
            with self.subTest(extension=extension):
                (self.folder / part).symlink_to("victim")
                _, err = self.run_client("record", QUICK, "-o", f"x.{extension}", expect=1)
                self.assertIn("symbolic link", err)
                self.assertEqual((self.folder / "victim").read_text(), "precious")

    def test_permissions_follow_the_umask(self):
        before = os.umask(0o027)
        self.addCleanup(os.umask, before)
        self.run_client("record", QUICK, "-o", "x.bin", "-o", "x.pcapng", "-o", "x.mf4", "-o", "x.asc", expect=None)
        for name in self.files():
            self.assertEqual((self.folder / name).stat().st_mode & 0o777, 0o640, name)


class Conversions(ClientTest):
    NAMES = ("x.bin", "x.pcapng", "x.mf4")

    def setUp(self):
        super().setUp()
        self.run_client("record", QUICK, "-o", "whole.bin")
        self.whole = (self.folder / "whole.bin").read_bytes()
        self.outputs = [argument for name in self.NAMES for argument in ("-o", name)]

    def fill(self):
        for name in self.NAMES:
            (self.folder / name).write_text("yesterday's drive")

    def kept(self):
        return [name for name in self.NAMES if (self.folder / name).read_text(errors="replace") == "yesterday's drive"]

    def test_wrong_input_leaves_existing_outputs_alone(self):
        (self.folder / "wrong.bin").write_text("something else entirely")
        self.fill()
        before = self.files()
        _, err = self.run_client("convert", "wrong.bin", *self.outputs, "-o", "x.asc", expect=1)
        self.assertIn("no whole record at byte 0", err)
        self.assertEqual(self.kept(), list(self.NAMES))
        self.assertEqual(self.files(), before)

    def test_input_that_breaks_off_does_not_replace_what_exists(self):
        (self.folder / "broken.bin").write_bytes(self.whole[:-5])
        self.fill()
        _, err = self.run_client("convert", "broken.bin", *self.outputs, expect=1)
        self.assertIn('x.bin": File exists. Its contents are in', err)
        self.assertEqual(self.kept(), list(self.NAMES))
        frames = read_bin((self.folder / "x.bin.part").read_bytes())
        self.assertEqual(frames, read_bin(self.whole)[:-1])

    def test_input_that_breaks_off_is_converted_up_to_there(self):
        (self.folder / "broken.bin").write_bytes(self.whole[:-5])
        self.run_client("convert", "broken.bin", *self.outputs, expect=1)
        self.assertEqual(self.files(), ["broken.bin", "whole.bin", "whole.bin.json", "x.bin", "x.bin.json", "x.mf4", "x.pcapng"])
        self.assertEqual(read_bin((self.folder / "x.bin").read_bytes()), read_bin(self.whole)[:-1])

    def test_whole_input_replaces_what_exists(self):
        self.fill()
        self.run_client("convert", "whole.bin", *self.outputs, expect=None)
        self.assertEqual(self.kept(), [])
        self.assertEqual((self.folder / "x.bin").read_bytes(), self.whole)

    def test_file_is_converted_to_itself(self):
        self.run_client("convert", "whole.bin", "-o", "whole.bin")
        self.assertEqual((self.folder / "whole.bin").read_bytes(), self.whole)


class LeftOvers(ClientTest):
    def swap_folders(self):
        return list(self.folder.glob(".qor-trace-swap-*"))

    def crash(self, limit):
        """Kills a recording with a swap folder; gives its entries' file, if there is one."""
        process = self.start("record", "can?speed=max", "-o", "x.bin", "--memory-limit", limit)
        part = self.folder / "x.bin.part"
        self.wait_until(lambda: part.exists() and part.stat().st_size > 0, "something recorded")
        process.kill()
        process.wait()
        part.unlink()
        (self.folder / "x.bin.json.part").unlink()
        return next(self.folder.glob(".qor-trace-swap-*/*.bin"), None)

    def test_swap_folder_without_entries_is_removed_by_the_next_start(self):
        self.assertIsNone(self.crash(100000000))
        self.assertEqual(len(self.swap_folders()), 1)
        _, err = self.run_client("record", QUICK, "-o", "x.bin")
        self.assertEqual(self.swap_folders(), [])
        self.assertNotIn("left over", err)

    def test_swap_file_with_entries_is_named_and_can_be_converted(self):
        swapped = self.crash(100)
        _, err = self.run_client("record", QUICK, "-o", "x.bin")
        self.assertIn(f"\"{swapped}\" is left over from a recording that was cut off; 'qor-trace convert' reads", err)
        self.run_client("convert", swapped, "-o", "saved.bin")
        self.assertGreaterEqual(len(read_bin((self.folder / "saved.bin").read_bytes(), swapped=True)), 100)

    def test_swap_folder_of_a_living_process_is_left_alone(self):
        process = self.start("record", "can", "-o", "x.bin")
        self.wait_until(self.swap_folders, "a swap folder")
        there = self.swap_folders()
        self.run_client("record", QUICK, "-o", "y.bin")
        self.assertEqual(self.swap_folders(), there)
        process.send_signal(signal.SIGINT)
        process.communicate()
        self.assertEqual((process.returncode, self.swap_folders()), (0, []))

    def test_files_of_a_longer_series_before_are_named(self):
        series = ["record", "can?duration=120s&speed=max", "--mdf-split", "3M"]
        for number in range(1, 10):
            (self.folder / f"x_{number}.mf4").write_text("old")
        _, err = self.run_client(*series, "-o", "x.mf4", expect=None)
        old = [number for number in range(1, 10) if (self.folder / f"x_{number}.mf4").read_bytes() == b"old"]
        self.assertIn(f'x_{old[0]}.mf4" to "{self.folder}/x_9.mf4" are of an earlier, longer series', err)
        _, err = self.run_client(*series, "-o", "y.mf4", expect=None)
        self.assertNotIn("earlier", err)


class SharedFolders(ClientTest):
    def test_swap_file_is_not_put_where_everybody_can_exchange_it(self):
        shared = self.folder / "shared"
        shared.mkdir()
        shared.chmod(0o777)
        _, err = self.run_client("record", QUICK, "-o", "shared/x.bin", expect=1)
        self.assertIn("can be written by everybody and has no sticky bit", err)
        self.assertIn("--swap-folder", err)
        self.assertEqual(list(shared.iterdir()), [])
        self.run_client("record", QUICK, "-o", "shared/x.bin", "--swap-folder", ".")
        shared.chmod(0o1777)
        self.run_client("record", QUICK, "-o", "shared/x.bin")

    def test_swap_folder_is_the_users_alone(self):
        process = self.start("record", "can", "-o", "x.bin")
        self.wait_until(lambda: list(self.folder.glob(".qor-trace-swap-*")), "a swap folder")
        (swap,) = self.folder.glob(".qor-trace-swap-*")
        self.assertEqual(swap.stat().st_mode & 0o777, 0o700)
        process.send_signal(signal.SIGINT)
        process.communicate()


class Terminals(ClientTest):
    """Names and texts from files don't steer the terminal on which they are shown."""

    HOSTILE = "\x1b[31m\x9b1m\r\nall is well.txt"

    def assert_harmless(self, text):
        for character in b"\x1b\x07\r\x7f\x9b":
            self.assertNotIn(character, text)

    def test_names_are_shown_with_their_control_characters(self):
        log = self.write_candump(["(1.0) can0 123#01"], self.HOSTILE)
        for args in (
            ["record", log, "--no-output"],
            ["record", log, "-o", self.HOSTILE + ".bin"],
            ["record", self.HOSTILE + ".gone.log", "--no-output"],
            ["record", "can", "-o", self.HOSTILE],
            ["record", "can?" + self.HOSTILE, "--no-output"],
            ["list", self.HOSTILE + ".bin.bin"],
            ["record", "can", "--no-output", "-d", self.HOSTILE],
            ["convert", self.HOSTILE + ".bin", "-o", self.HOSTILE + ".pcapng", "--json"],
        ):
            with self.subTest(args=args):
                process = self.start(*args)
                out, err = process.communicate()
                self.assert_harmless(out + err)
                self.assertNotIn(b"\nall is well", out + err)
                self.assertIn(b"all is well", out + err)
        process = self.start(self.HOSTILE)
        self.assert_harmless(b"".join(process.communicate()))

    def test_bad_lines_are_told_harmlessly(self):
        self.write_candump(["(1.0) can0 123#01", "(1.0) can0 \x1b]0;title\x07#01"], "bad.log")
        process = self.start("record", "bad.log", "--no-output")
        out, err = process.communicate()
        self.assertNotEqual(process.returncode, 0)
        self.assertIn(b"bad.log", err)
        self.assert_harmless(out + err)

    def test_name_that_is_no_utf_8_does_not_break_the_json(self):
        log = os.fsencode(self.folder) + b"/\xff\x9b.log"
        with open(log, "wb") as file:
            file.write(b"(1.0) can0 123#01\n")
        process = self.start("record", os.fsdecode(log), "--no-output", "--json")
        out, err = process.communicate()
        self.assertEqual(process.returncode, 0, err)
        self.assert_harmless(out + err)
        self.assertIn(b"\\xff\\x9b.log", err)


if __name__ == "__main__":
    main()
