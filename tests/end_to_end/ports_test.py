"""qor-trace ports: the interfaces of this machine."""

import json
import socket

from support import ClientTest, main


class Ports(ClientTest):
    def ports(self, *args):
        """Standard output; without rights for some of them it ends with 1."""
        process = self.start("ports", *args)
        out, err = process.communicate()
        self.assertIn(process.returncode, (0, 1), err)
        self.assertEqual(process.returncode == 0, err == b"", err)
        return out.decode()

    def test_all_interfaces_of_the_machine_are_listed(self):
        listed = json.loads(self.ports("--json"))
        self.assertEqual(listed["schema"], "qor-trace-ports")
        self.assertEqual(sorted(port["port"] for port in listed["ports"]), sorted(name for _, name in socket.if_nameindex()))
        for port in listed["ports"]:
            self.assertEqual(port["recordable"], port["why_not"] == "", port)

    def test_the_table_has_a_line_for_each(self):
        lines = self.ports().splitlines()
        self.assertEqual(lines[0].split(), ["Port", "Bus", "State", "Bit", "rate", "Driver", "Recordable"])
        self.assertEqual(sorted(line.split()[0] for line in lines[1:]), sorted(name for _, name in socket.if_nameindex()))

    def test_an_interface_that_is_not_there_is_wrong_usage(self):
        _, err = self.run_client("record", "no-such-if", "--no-output", expect=2)
        self.assertIn('no interface "no-such-if"', err)


if __name__ == "__main__":
    main()
