"""Compares the command "nmea" with pynmea2 over random sentences of all types, and over published ones.

usage: nmea_test.py OMBREL_TUK [TEST ...]
"""
import json
import random
import subprocess
import sys
import unittest
from decimal import Decimal

sys.path.append("/usr/lib/python3/dist-packages")
try:
    import pynmea2
except ImportError:
    pynmea2 = None

TOOL = ""


def run(data, *arguments):
    result = subprocess.run([TOOL, "nmea", *arguments], input=data, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120)
    return result.returncode, [json.loads(line, parse_float=Decimal) for line in result.stdout.decode().splitlines()], result.stderr


def sealed(content):
    total = 0
    for byte in content.encode():
        total ^= byte
    return f"${content}*{total:02X}\r\n"


class Maker:
    """Random fields, each of which may be missing."""

    def __init__(self, seed):
        self.random = random.Random(seed)

    def perhaps(self, text):
        return "" if self.random.random() < 0.2 else text

    def number(self, most, digits=3, least=0):
        return self.perhaps(f"{self.random.uniform(least, most):.{self.random.randint(0, digits)}f}")

    def count(self, most, width=1, least=0):
        return self.perhaps(f"{self.random.randint(least, most):0{width}d}")

    def letter(self, letters):
        return self.perhaps(self.random.choice(letters))

    def time(self):
        return self.perhaps(f"{self.random.randrange(24):02}{self.random.randrange(60):02}{self.random.randrange(60):02}" +
                            self.random.choice(["", ".5", ".25", ".123"]))

    def angle(self, degrees, sides):
        if self.random.random() < 0.2:
            return ["", ""]
        digits = self.random.randint(1, 7)
        minutes = f"{self.random.uniform(0, 59.9):0{digits + 3}.{digits}f}"
        return [f"{self.random.randrange(degrees):0{len(str(degrees))}}{minutes}", self.random.choice(sides)]

    def place(self):
        return self.angle(90, "NS") + self.angle(180, "EW")

    def date(self):
        return f"{self.random.randint(1, 28):02}", f"{self.random.randint(1, 12):02}", self.random.randint(2000, 2060)

    def variation(self):
        number = self.number(179)
        return [number, self.random.choice("EW") if number else ""]

    def fields(self, kind):
        day, month, year = self.date()
        return {
            "GGA": lambda: [self.time(), *self.place(), self.count(8), self.count(12, 2), self.number(20), self.number(9000, 3, -100), "M",
                            self.number(80, 2, -80), "M", self.number(60), self.count(1023, 4)],
            "GLL": lambda: [*self.place(), self.time(), self.letter("AV"), self.letter("ADEN")],
            "GSA": lambda: [self.letter("MA"), self.count(3, 1, 1), *[self.count(99, 2, 1) for _ in range(12)], self.number(20), self.number(20), self.number(20)],
            "GSV": lambda: ["1", "1", self.count(40, 2), *[text for _ in range(self.random.randint(1, 4)) for text in
                                                           [f"{self.random.randint(1, 99):02}", self.count(90, 2), self.count(359, 3), self.count(99, 2)]]],
            "HDT": lambda: [self.number(359), "T"],
            "RMC": lambda: [self.time(), self.letter("AV"), *self.place(), self.number(200), self.number(359), self.perhaps(f"{day}{month}{year % 100:02}"),
                            *self.variation(), self.letter("ADEN"), self.letter("SCUV")],
            "VTG": lambda: [self.number(359), "T", self.number(359), "M", self.number(99), "N", self.number(200), "K", self.letter("ADEN")],
            "ZDA": lambda: [self.time(), day, month, f"{year}", self.count(13, 2), self.count(59, 2)],
        }[kind]()

    def sentence(self, kind):
        return sealed(",".join([self.random.choice(["GP", "GN", "GL", "GA", "GB"]) + kind, *self.fields(kind)]))


def number(text):
    return Decimal(text) if text else None


def clock(time):
    return time and time.strftime("%H:%M:%S") + (f".{time.microsecond:06}".rstrip("0") if time.microsecond else "")


def signed(message, text, side):
    return number(text) if not text or side in "NE" else -number(text)


# What pynmea2 reads in place of each name.
EXPECTED = {
    "GGA": lambda m: dict(time=clock(m.timestamp or None), quality=m.gps_qual, satellites=number(m.num_sats), hdop=number(m.horizontal_dil),
                          altitude=m.altitude, separation=number(m.geo_sep), correction_age=number(m.age_gps_data), station=number(m.ref_station_id)),
    "GLL": lambda m: dict(time=clock(m.timestamp or None), status=m.status or None, mode=m.faa_mode or None),
    "GSA": lambda m: dict(selection=m.mode or None, fix=number(m.mode_fix_type), pdop=number(m.pdop), hdop=number(m.hdop), vdop=number(m.vdop),
                          satellites=[int(s) for s in m.data[2:14] if s]),
    "GSV": lambda m: dict(in_view=number(m.num_sv_in_view), satellites=[
        dict(zip(["number", "elevation", "azimuth", "strength"], map(number, m.data[at:at + 4]))) for at in range(3, len(m.data), 4)]),
    "HDT": lambda m: dict(heading=m.heading),
    "RMC": lambda m: dict(time=clock(m.timestamp or None), date=str(m.datestamp) if m.datestamp else None, status=m.status or None, speed=m.spd_over_grnd,
                          course=m.true_course, variation=signed(m, m.mag_variation, m.mag_var_dir), mode=(m.data + [""])[11] or None,
                          navigation=(m.data + ["", ""])[12] or None),
    "VTG": lambda m: dict(course=m.true_track, magnetic_course=m.mag_track, speed=m.spd_over_grnd_kts, speed_kmh=m.spd_over_grnd_kmph,
                          mode=m.faa_mode or None),
    "ZDA": lambda m: dict(time=clock(m.timestamp or None), date=str(m.datestamp), zone_hours=m.local_zone, zone_minutes=m.local_zone_minutes),
}


class NmeaTest(unittest.TestCase):
    def compare(self, line, found):
        message = pynmea2.parse(line.strip())
        self.assertEqual((message.sentence_type, message.talker, True), (found["type"], found["talker"], found["valid"]), line)
        for name, value in EXPECTED[found["type"]](message).items():
            value = None if value == "" else float(value) if isinstance(value, Decimal) else value
            self.assertEqual(value, float(found[name]) if isinstance(value, float) else found[name], (line, name))
        for name, text in (("latitude", getattr(message, "lat", None)), ("longitude", getattr(message, "lon", None))):
            if text:
                self.assertAlmostEqual(getattr(message, name), float(found[name]), 8, line)
            elif name in found:
                self.assertIsNone(found[name], line)

    @unittest.skipUnless(pynmea2, "python3-nmea2 is not installed")
    def test_random_sentences(self):
        maker = Maker(1)
        lines = [maker.sentence(kind) for _ in range(250) for kind in EXPECTED]
        status, found, errors = run("".join(lines).encode(), "-l", "120")
        self.assertEqual((0, len(lines), b""), (status, len(found), errors))
        for line, one in zip(lines, found):
            self.compare(line, one)

    @unittest.skipUnless(pynmea2, "python3-nmea2 is not installed")
    def test_published_sentences(self):
        lines = [sealed(text) for text in (
            "GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,", "GPGGA,184353.07,1929.045,S,02410.506,E,1,04,2.6,100.00,M,-33.9,M,,0000",
            "GPGLL,4916.45,N,12311.12,W,225444,A", "GPRMC,225446,A,4916.45,N,12311.12,W,000.5,054.7,191194,020.3,E",
            "GPGSA,A,3,04,05,,09,12,,,24,,,,,2.5,1.3,2.1", "GPGSV,2,1,08,01,40,083,46,02,17,308,41,12,07,344,39,14,22,228,45",
            "GPVTG,054.7,T,034.4,M,005.5,N,010.2,K", "GPZDA,201530.00,04,07,2002,00,00", "HEHDT,274.07,T")]
        for line, one in zip(lines, run("".join(lines).encode())[1]):
            self.compare(line, one)

    def test_other_sentences_and_bad_ones(self):
        good = "!AIVDM,1,1,,B,177KQJ5000G?tO`K>RA1wUbN0TKH,0*5C"
        status, found, errors = run(b"noise\r\n" + good.encode() + b"\n$PUBX,00*33\n$GP\xff\"\\\x01*00\n$GPHDT,1,T*00\n$GPHDT,1,T\n" +
                                    sealed("GPHDT,x,T").encode() + b"$GPTXT")
        self.assertEqual((0, b""), (status, errors))
        self.assertEqual([("VDM", "AI", True), ("UBX", "P", True)] + [(None, None, False)] * 5, [(f["type"], f["talker"], f["valid"]) for f in found])
        self.assertEqual(good[1:-3].split(",")[1:], found[0]["fields"])
        self.assertEqual("$GP\xff\"\\\x01*00", found[2]["sentence"])
        self.assertEqual(["a character that no sentence has", "wrong checksum", "no checksum", "a field that its type does not have", "no checksum"],
                         [f["error"] for f in found[2:]])
        self.assertEqual("1", str(run(b"$GPHDT,1,T\n", "-u")[1][0]["heading"]))
        self.assertEqual((1, []), run(b"", "/no/such/file")[:2])


if __name__ == "__main__":
    TOOL = sys.argv.pop(1)
    unittest.main()
