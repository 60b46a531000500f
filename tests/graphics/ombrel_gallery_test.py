"""Runs the gallery and looks at its pictures.

usage: ombrel_gallery_test.py OMBREL_GALLERY PRELOADED [TEST ...]
"""
import os
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))
import png  # noqa: E402

GALLERY = PRELOADED = ""

PICTURES = {
    "shapes": (540, 350, {(300, 140): (0x4B, 0x5F, 0xA8), (80, 265): (0xF4, 0xD3, 0x5E), (20, 160): (0xB4, 0x56, 0x2B)}),
    "latin_text": (560, 420, {(13, 235): (8, 120, 112), (2, 2): (16, 20, 24)}),
    "hangul_text": (560, 330, {(2, 2): (0xF6, 0xF4, 0xEF)}),
    "color_bars": (640, 260, {(10, 10): (255, 255, 255), (315 - 1, 10): (0, 0, 255), (97, 170): (255, 127, 63),
                              (10, 249): (0, 0, 127), (629, 249): (0, 0, 255)}),
    "ruler": (440, 240, {(100, 14): (0x8A, 0x4B, 0x14), (101, 10): (0xFF, 0xFD, 0xF4), (4, 230): (0x8A, 0x4B, 0x14)}),
    "color_interfaces": (540, 576, {(529, 64 * row + 4): (248 if row == 1 else 255, 0, 0) for row in range(1, 8)}),
    # Opaque, cut off at the parent, through the colour key, half clear; shown in 5, 6 and 5 bits.
    "windows": (640, 400, {(40, 100): (248, 252, 248), (275, 160): (160, 88, 88), (541, 125): (40, 92, 120),
                           (400, 80): (120, 180, 128), (435, 260): (232, 228, 224)}),
    # Enlarged by each method, turned by none and by 90 degrees, with a key from 5, 6 and 5 bits, made smaller.
    "bitmaps": (704, 560, {(60, 100): (246, 220, 129), (318, 60): (202, 166, 91), (550, 60): (245, 215, 110),
                           (30, 232): (34, 38, 43), (101, 232): (240, 165, 100), (222, 310): (234, 165, 77),
                           (470, 460): (120, 180, 128), (530, 440): (0, 0, 0), (703, 5): (255, 255, 255)}),
}


class Gallery(unittest.TestCase):
    def test_pictures(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run([GALLERY, folder], check=True, timeout=60)
            self.assertEqual(sorted(os.listdir(folder)), sorted(name + ".png" for name in PICTURES))
            for name, (width, height, pixels) in PICTURES.items():
                with open(os.path.join(folder, name + ".png"), "rb") as file:
                    *size, pixel = png.decode(file.read())
                self.assertEqual(size, [width, height], name)
                for place, color in pixels.items():
                    self.assertEqual(pixel(*place), color, (name, place))

    def test_a_folder_that_is_not_there(self):
        failed = subprocess.run([GALLERY, "/nowhere/at/all"], stderr=subprocess.PIPE, text=True, timeout=60, check=False)
        self.assertEqual(failed.returncode, 1)
        self.assertIn("cannot write", failed.stderr)


class ScarceMemory(unittest.TestCase):
    def run_gallery(self, **scarce):
        """The exit code, the messages and the pictures when memory is as scarce as the variables say."""
        with tempfile.TemporaryDirectory() as folder:
            done = subprocess.run([GALLERY, folder], stderr=subprocess.PIPE, text=True, timeout=60, check=False,
                                  env={**os.environ, "LD_PRELOAD": PRELOADED, **scarce})
            pictures = {}
            for name in os.listdir(folder):
                with open(os.path.join(folder, name), "rb") as file:
                    pictures[name] = file.read()
            return done.returncode, done.stderr, pictures

    def test_whole_pictures_or_a_message(self):
        _, _, whole = self.run_gallery()
        self.assertEqual(len(whole), len(PICTURES))
        refusals = 0
        for scarce in [{"SCARCE_MEMORY_NTH": str(i)} for i in range(1, 30)] + [{"SCARCE_MEMORY_SEED": str(i)} for i in range(1, 20)]:
            code, message, pictures = self.run_gallery(**scarce)
            for name, picture in pictures.items():
                self.assertTrue(picture == whole[name], (scarce, name))
            if code != 0 or len(pictures) != len(whole):
                refusals += 1
                self.assertEqual(code, 1, (scarce, message))
                self.assertIn("ombrel_gallery: [ERROR] ", message, scarce)
        self.assertGreater(refusals, 10)


if __name__ == "__main__":
    GALLERY, PRELOADED = sys.argv.pop(1), sys.argv.pop(1)
    unittest.main(verbosity=1)
