#!/usr/bin/env python3
"""Files of other formats through the program: TIFF by its helper, dumps, and helpers that fail."""
import os, shutil, struct
from program import LUMO, Program, unittest

HAS_TIFF = os.path.exists(os.path.join(os.path.dirname(LUMO), "lumo-tiff"))


def tiff(pages):
    """Little-endian, 16 bits, one strip a page, 100 pixels per centimetre."""
    data, link = b"II*\0\0\0\0\0", 4
    for width, height, pixels in pages:
        strip, ratio = len(data), len(data) + 2 * len(pixels)
        data += struct.pack("<%dH" % len(pixels), *pixels) + struct.pack("<2I", 100, 1)
        tags = [(256, 3, width), (257, 3, height), (258, 3, 16), (262, 3, 1), (273, 4, strip), (278, 3, height),
                (279, 4, 2 * len(pixels)), (282, 5, ratio), (283, 5, ratio), (296, 3, 3)]
        data = data[:link] + struct.pack("<I", len(data)) + data[link + 4:]
        data += struct.pack("<H", len(tags)) + b"".join(struct.pack("<HHII", tag, kind, 1, value) for tag, kind, value in tags)
        link = len(data)
        data += b"\0\0\0\0"
    return data


class Interchange(Program):
    def write(self, file, data):
        os.makedirs(os.path.dirname(os.path.join(self.folder, file)), exist_ok=True)
        with open(os.path.join(self.folder, file), "wb") as stream:
            stream.write(data)

    @unittest.skipUnless(HAS_TIFF, "built without libtiff")
    def test_tiff_goes_through_verbs_batches_and_pipes(self):
        pixels = [7 * i for i in range(64 * 48)]
        self.write("in/a.tif", tiff([(64, 48, pixels)]))
        out, err = self.run_lumo("info", "in/a.tif")
        self.assertEqual(err, "")
        self.assertIn("  format   TIFF\n  size     64 x 48 pixels\n  pitch    100000 x 100000 nm", out)
        self.assertEqual(self.raster("in/a.tif"), (64, 48, pixels))
        self.run_lumo("invert", "in/a.tif", "b.tif")
        self.run_lumo("convert", "b.tif", "c.png")
        self.run_lumo("convert", "c.png", "d.tiff", "--compression", "deflate")
        self.assertEqual(self.raster("d.tiff"), (64, 48, [65535 - pixel for pixel in pixels]))
        self.assertEqual(self.run_lumo("history", "d.tiff")[0], self.run_lumo("history", "b.tif")[0])
        a, b = self.info("c.png", "d.tiff")
        self.assertEqual([a[key] for key in ("metadata", "pixels", "pixelsizeX")], [b[key] for key in ("metadata", "pixels", "pixelsizeX")])
        self.write("in/bad.tiff", tiff([(64, 48, pixels)])[:-20])
        err = self.run_lumo("filter", "--batch", "in", "--out", "out", "type=median_filter size=3", status=1)[1]
        self.assertIn("in/bad.tiff: damaged (", err)
        self.assertEqual(self.below("out"), ["out/a.tif"])
        self.write("frames.tif", tiff([(64, 48, pixels), (4, 1, [1, 2, 3, 4])]))
        self.assertEqual(self.run_lumo("stats", "frames.tif", status=1)[1], "frames.tif: 2 frames; choose one with --frame 1 to 2\n")
        self.assertIn("TIFF, frame 1 of 2\n", self.run_lumo("info", "frames.tif")[0])
        self.run_lumo("convert", "frames.tif", "e.png", "--frame", "2")
        self.assertEqual(self.raster("e.png"), (4, 1, [1, 2, 3, 4]))
        with open(os.path.join(self.folder, "d.tiff"), "rb") as stream:
            self.assertIn("TIFF", self.run_lumo("info", "-", stdin=stream)[0])
        before = self.files()
        for arguments in (["b.tif", "f.tif", "--compression", "jpeg"], ["b.tif", "f.tif", "--sop", "cr"], ["c.png", "f.png", "--frame", "2"]):
            self.assertRegex(self.run_lumo("convert", *arguments, status=1)[1], r"^[^\n]+\n$")
        self.assertEqual(self.files(), before)

    def test_dumps_come_in_and_go_out(self):
        pixels = [3 * i for i in range(70 * 50)]
        self.write("flat_70x50.bin", struct.pack(">%dH" % len(pixels), *pixels))
        describe = ["--from", "dump", "--width", "70", "--height", "50", "--endian", "big"]
        self.run_lumo("convert", "flat_70x50.bin", "a.png", *describe, "--pitch", "100000,50000", "--bits", "14")
        self.assertEqual(self.raster("a.png"), (70, 50, pixels))
        a = self.info("a.png")[0]
        self.assertEqual((a["pixelsizeX"], a["pixelsizeY"]), (100000, 50000))
        self.assertEqual(a["metadata"]["Image_X"]["bits"], "14")
        self.run_lumo("invert", "a.png", "b.png")
        self.run_lumo("convert", "b.png", "b.bin", "--format", "dump")
        self.run_lumo("convert", "b.bin", "c.png", "--from", "dump", "--sidecar", "b.ini")
        b, c = self.info("b.png", "c.png")
        for key in ("width", "height", "pixelsizeX", "pixelsizeY", "pixels", "metadata"):
            self.assertEqual(c[key], b[key], key)
        self.assertEqual(self.run_lumo("convert", "flat_70x50.bin", "d.png", "--from", "dump", status=2)[1],
                         "flat_70x50.bin: --width and --height of a dump are needed; its name and size suggest --width 70 --height 50\n")
        for wrong in (["--width", "70"], ["--sidecar", "b.ini"], ["--from", "dump", "--width", "0"], ["--from", "tape"], ["--from", "dump", "--bits", "17"]):
            self.run_lumo("convert", "flat_70x50.bin", "d.png", *wrong, status=2)
        self.assertIn("14 fewer", self.run_lumo("convert", "flat_70x50.bin", "d.png", "--from", "dump", "--width", "70", "--height", "50",
                                                 "--offset", "14", status=1)[1])
        self.assertEqual(self.run_lumo("convert", "a.png", "e.ini", "--format", "dump", status=2)[1], "e.ini: the dump needs another extension than .ini\n")
        self.assertNotIn("d.png", self.files())

    def test_helpers_that_fail_cost_one_line(self):
        """A program elsewhere, with stand-ins beside it or nothing."""
        program = os.path.join(self.home.name, "lumo")
        shutil.copy(LUMO, program)
        self.write("a.tif", tiff([(4, 1, [1, 2, 3, 4])]))
        self.phantom("b.png")
        for script, message in (
            (None, "a TIFF file; this installation reads none (lumo-tiff is not installed)"),
            ("kill -11 $$", "its reader was stopped (signal 11); the file is damaged or hostile"),
            ("exit 3", "its reader was stopped (out of memory); the file is damaged or hostile"),
            ("echo LUMOEX01 and more", "its reader sent something unexpected"),
            ("exit 0", "its reader sent something unexpected")):
            if script is not None:
                helper = os.path.join(self.home.name, "lumo-tiff")
                with open(helper, "w") as stream:
                    stream.write("#!/bin/sh\n" + script + "\n")
                os.chmod(helper, 0o755)
            before = self.files()
            _, err = self.run_lumo("convert", "a.tif", "c.png", status=1, executable=program)
            self.assertEqual(err, "a.tif: " + message + "\n")
            _, err = self.run_lumo("convert", "b.png", "c.tif", status=1, executable=program)
            self.assertRegex(err, r"^c\.tif: [^\n]+\n$")
            self.assertEqual(self.files(), before)


if __name__ == "__main__":
    unittest.main()
