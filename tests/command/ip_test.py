"""Shows a network of its own by the command "ip", beside iproute2, and its changes while that makes them.

usage: ip_test.py OMBREL_TUK [TEST ...]
"""
import json
import os
import shutil
import signal
import subprocess
import sys
import unittest

TOOL = ""
# What a sample of the whole is where each program is slow.
SCALE = int(os.environ.get("OMBREL_TEST_STRIDE", "1"))
# What iproute2 does not tell, or by other members.
OWN = ("speed_mbit", "duplex", "kind", "ifalias", "cache", "uid")
ALIAS = 'a "quoted" n\u00e4me\\\t'
BLINK = "address add 172.31.0.1/32 dev lo\naddress delete 172.31.0.1/32 dev lo\n"
NETWORK = """link add v0 type veth peer name v1
link add br0 type bridge
link add d0 type dummy
link add link v1 name v1.5 type vlan id 5
link set v0 master br0
link set v1 txqueuelen 77 group 5
address add 192.0.2.1/24 brd + dev v1 label v1:one
address add 192.0.2.8/24 dev v1 noprefixroute
address add 10.5.0.1 peer 10.5.0.2/24 dev v1
address add 2001:db8::1/64 dev v1 nodad
address add 2001:db8::2/64 dev v1 valid_lft 100000 preferred_lft 0
address add fec0::1/64 dev v1 nodad
link set lo up
link set v0 up
link set v1 up promisc on
link set br0 up mtu 1400
route add default via 192.0.2.254 metric 50
route add default via 192.0.2.253 metric 5 mtu 1300 proto static
route add 10.0.0.0/8 via inet6 2001:db8::7 dev v1
route add 10.4.0.0/16 via 198.51.100.1 dev v1 onlink proto dhcp src 192.0.2.8
route add 203.0.113.0/24 nexthop via 192.0.2.2 weight 2 nexthop via 192.0.2.3
route add 198.18.0.0/15 dev v1 table 1000
route add 198.51.100.7 dev v1 scope link tos 0x10
route add 203.0.114.0/24 nexthop via 192.0.2.2 nexthop via 10.5.0.3 nexthop dev br0
route add blackhole 10.6.0.0/16
route add unreachable 10.8.0.0/16 metric 7
route add prohibit 10.9.0.0/16
route add throw 10.7.0.0/16
route add 2001:db8:1::/48 nexthop via 2001:db8::9 nexthop via 2001:db8::3
route add 2001:db8:2::/48 via 2001:db8::9 pref high
route add ::/0 via fe80::1 dev v1
route add blackhole 2001:db8:6::/48
route add throw 2001:db8:7::/48
neighbour add 192.0.2.9 lladdr 00:11:22:33:44:55 dev v1
neighbour add 192.0.2.10 lladdr 00:11:22:33:44:56 dev v1 nud stale
neighbour add fe80::1 lladdr 00:11:22:33:44:57 dev v1 router nud reachable
"""


def output(*words, status=0):
    found = subprocess.run(words, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120)
    if found.returncode != status:
        raise AssertionError((words, found.returncode, found.stderr))
    return found.stdout.decode() if status == 0 else found.stderr.decode()


def theirs(*words):
    text = output("ip", "-j", *words).replace(',"M-DOWN"', "")  # of a parent's, not the interface's own
    return [{name: one[name] for name in one if name not in OWN} for one in json.loads(text or "[]")]


def ours(*words):
    return [{name: one[name] for name in one if name not in OWN} for one in json.loads(output(TOOL, "ip", *words))]


def change(lines, force=False):
    subprocess.run(["ip", "-force" if force else "-oneline", "-batch", "-"], input=lines.encode(), check=not force,
                   stderr=subprocess.DEVNULL if force else None)


class IpTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        # A kernel without one kind of route has the others.
        change(NETWORK, force=True)
        output("ip", "link", "set", "v1", "alias", ALIAS)

    def compare(self, mine, *peers):
        """Both are asked again when a time of life has passed meanwhile."""
        for left in (3, 2, 1, 0):
            expected, found = [one for words in peers for one in theirs(*words)], ours(*mine)
            if expected == found or left == 0:
                break
        self.assertEqual(expected, found)
        self.assertTrue(found)

    def test_what_is_there(self):
        self.compare(["address", "--json"], ["address"])
        self.compare(["address", "-s", "--json", "-i", "lo"], ["-s", "address", "show", "dev", "lo"])
        self.compare(["route", "--json"], ["-4", "route"], ["-6", "route"])
        self.compare(["-a", "-4", "route", "-j"], ["-4", "route", "show", "table", "all"])
        self.compare(["-a", "-6", "route", "-j"], ["-6", "route", "show", "table", "all"])
        self.assertEqual(["203.0.114.0/24"], [one["dst"] for one in ours("route", "-4", "-i", "br0", "--json")])
        self.compare(["neighbour", "--json"], ["neighbour"])
        one = json.loads(output(TOOL, "ip", "address", "-j", "-i", "v1"))[0]
        self.assertEqual((ALIAS, "veth"), (one["ifalias"], one["kind"]))
        lines = output(TOOL, "ip", "address").splitlines()
        self.assertEqual(len(ours("address", "-j")), sum(not line.startswith(" ") for line in lines))

    def test_what_people_read(self):
        """All that stands beside a name; the loop-back interface has sent as many as it has received."""
        lines = {line for words in (["address", "-s"], ["route"], ["neighbour"])
                 for line in output(TOOL, "ip", *words).splitlines()}
        for line in ("    192.0.2.1/24 global broadcast 192.0.2.255", "    10.5.0.1/24 global peer 10.5.0.2",
                     "    fec0::1/64 site nodad", "    ::1/128 host",
                     "default via 192.0.2.253 dev v1 metric 5 by static",
                     "10.0.0.0/8 via 2001:db8::7 dev v1 by boot",
                     "10.4.0.0/16 via 198.51.100.1 dev v1 from 192.0.2.8 by dhcp onlink",
                     "blackhole 10.6.0.0/16 by boot", "unreachable 10.8.0.0/16 metric 7 by boot",
                     "203.0.113.0/24 by boot hop via 192.0.2.2 dev v1 weight 2 hop via 192.0.2.3 dev v1 weight 1",
                     "192.0.2.9 dev v1 00:11:22:33:44:55 permanent", "192.0.2.10 dev v1 00:11:22:33:44:56 stale",
                     "fe80::1 dev v1 00:11:22:33:44:57 reachable router"):
            self.assertIn(line, lines)
        self.assertRegex("\n".join(sorted(lines)), r"2001:db8::2/64 global valid \d+ s deprecated")
        numbers = theirs("-s", "address", "show", "dev", "lo")[0]["stats64"]
        self.assertIn("    received {bytes} bytes in {packets} packets ({errors} errors, {dropped} dropped), "
                      .format(**numbers["rx"]) + "sent {bytes} bytes in {packets} packets ({errors} errors, {dropped} dropped)"
                      .format(**numbers["tx"]), lines)
        process = self.start("-n", "1")
        while process.poll() is None:
            change("neighbour change 192.0.2.10 lladdr 00:11:22:33:44:56 dev v1 nud permanent\n"
                   "neighbour change 192.0.2.10 lladdr 00:11:22:33:44:56 dev v1 nud stale\n")
        self.assertRegex(process.stdout.read().decode(),
                         r"^neighbour changed 192.0.2.10 dev v1 00:11:22:33:44:56 (stale|permanent)\n$")

    def test_where_packets_would_go(self):
        for to in ("203.0.113.5", "10.1.1.1", "10.4.1.1", "8.8.8.8", "127.0.0.1", "192.0.2.1", "2001:db8::77"):
            # Of several ways the kernel may choose another one each time.
            for left in range(50):
                expected, found = theirs("route", "get", to), ours("route", to, "--json")
                if expected == found:
                    break
            self.assertEqual(expected, found)
        nowhere = "(No route to host|Host is unreachable)"  # as the C library words it
        for to, why in (("10.6.0.1", nowhere), ("2001:db8:6::1", nowhere), ("10.8.0.1", nowhere),
                        ("10.9.0.1", "Permission denied"), ("v1", "no numeric address")):
            self.assertRegex(output(TOOL, "ip", "route", to, status=1), "^ip: %s: %s\n$" % (to, why))

    def test_many(self):
        addresses, routes = 1000 // SCALE, 10000 // SCALE
        change("link add many type veth peer name others\nlink set many up\nlink set others up\n" +
               "".join("address add 172.16.%d.%d/16 dev many\n" % (i >> 8, i & 255) for i in range(1, addresses + 1)) +
               "".join("route add 100.%d.%d.0/24 via 172.16.255.1 dev many onlink\n" % (i >> 8, i & 255)
                       for i in range(routes)))
        self.addCleanup(change, "link delete many\n")
        self.compare(["address", "--json"], ["address"])
        self.compare(["route", "--json", "-4"], ["-4", "route"])

    def start(self, *words):
        process = subprocess.Popen([TOOL, "ip", "watch", *words], stdout=subprocess.PIPE)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def watch(self, *words):
        """It watches once it tells something."""
        process = self.start(*words)
        line = None
        while line is None:
            change(BLINK)
            os.set_blocking(process.stdout.fileno(), False)
            line = process.stdout.readline() or None
            if process.poll() is not None:
                self.fail("the watch has ended")
        os.set_blocking(process.stdout.fileno(), True)
        return process

    def events(self, process, lines, last):
        change(lines)
        events = []
        while True:
            one = json.loads(process.stdout.readline())
            if one.get("local") == "172.31.0.1" or one.get("dst") == "172.31.0.1":
                continue
            events.append(one)
            if last(one):
                return events

    def test_changes(self):
        process = self.watch("--json")
        events = self.events(process, """link add w0 type veth peer name w1
address add 192.0.2.77/32 dev w0
address change 192.0.2.77/32 dev w0 valid_lft 5000 preferred_lft 4000
link set w0 mtu 1200
link set w0 up
route add 198.51.100.0/24 dev w0 metric 9
route replace 198.51.100.0/24 dev w0 metric 9 mtu 1000
route delete 198.51.100.0/24 metric 9
neighbour add 192.0.2.99 lladdr 00:11:22:33:44:58 dev w0
neighbour change 192.0.2.99 lladdr 00:11:22:33:44:59 dev w0
neighbour delete 192.0.2.99 dev w0
address delete 192.0.2.77/32 dev w0
link delete w0
""", lambda one: (one["event"], one["object"], one.get("ifname")) == ("gone", "interface", "w0"))

        def told(kind, name, value):
            return [one["event"] for one in events if one["object"] == kind and one.get(name) == value]

        link = told("interface", "ifname", "w0")
        self.assertEqual((["appeared"], ["gone"], {"changed"}), (link[:1], link[-1:], set(link[1:-1])))
        self.assertIn(1200, [one.get("mtu") for one in events if one["object"] == "interface"])
        self.assertEqual(["appeared", "changed", "gone"], told("address", "local", "192.0.2.77"))
        self.assertEqual(["appeared", "changed", "gone"], told("route", "dst", "198.51.100.0/24"))
        neighbour = told("neighbour", "dst", "192.0.2.99")  # one that is deleted fails first
        self.assertEqual((["appeared"], ["gone"], {"changed"}), (neighbour[:1], neighbour[-1:], set(neighbour[1:-1])))
        self.assertEqual(["w0"], [one["dev"] for one in events if one.get("local") == "192.0.2.77"][:1])
        process.send_signal(signal.SIGTERM)
        self.assertEqual(0, process.wait(60))

    def test_limits_and_wrong_calls(self):
        process = self.start("-n", "3")
        while process.poll() is None:
            change(BLINK)
        self.assertEqual((0, 3), (process.returncode, len(process.stdout.readlines())))
        self.assertEqual("", output(TOOL, "ip", "watch", "-w", "1", "-i", "lo"))
        self.assertEqual("ip: nobody: no such interface\n", output(TOOL, "ip", "address", "-i", "nobody", status=1))
        for words in ((), ("nothing",), ("address", "x"), ("route", "1.2.3.4", "x"), ("watch", "-n", "0")):
            output(TOOL, "ip", *words, status=2)


if __name__ == "__main__":
    TOOL = sys.argv[1]
    if os.environ.get("OMBREL_TEST_NETWORK") != str(os.getppid()) and shutil.which("ip") and shutil.which("unshare"):
        os.environ["OMBREL_TEST_NETWORK"] = str(os.getpid())
        done = subprocess.run(["unshare", "-rn", sys.executable, *sys.argv])
        probe = done.returncode != 0 and subprocess.run(["unshare", "-rn", "true"], stderr=subprocess.DEVNULL)
        if not probe or probe.returncode == 0:
            sys.exit(done.returncode)
    if "OMBREL_TEST_NETWORK" not in os.environ or os.environ["OMBREL_TEST_NETWORK"] == str(os.getpid()):
        print("skipped: no iproute2, or no network of one's own may be made")
        sys.exit(0)
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
