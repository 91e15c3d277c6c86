#!/usr/bin/env python3
"""Runs the verbs quality, average and badpixels of the program `lumo` as a user does."""
import csv, io, json, math, os, random, statistics, struct, subprocess, sys, tempfile, unittest, zlib

LUMO = os.path.abspath(sys.argv.pop(1))


def png(width, height, pixels, pitch=100000):
    """A 16-bit PNG; the pitch is in nanometres, None for none."""
    def chunk(name, data):
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))
    rows = b"".join(b"\0" + struct.pack(">%dH" % width, *pixels[y * width:(y + 1) * width]) for y in range(height))
    size = chunk(b"pHYs", struct.pack(">IIB", 10**9 // pitch, 10**9 // pitch, 1)) if pitch else b""
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 16, 0, 0, 0, 0)) + size
            + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


class Quality(unittest.TestCase):
    def setUp(self):
        self.home = tempfile.TemporaryDirectory()
        self.addCleanup(self.home.cleanup)
        self.folder = self.home.name
        self.env = {k: v for k, v in os.environ.items() if not k.startswith(("ORVEL_", "XDG_"))}
        self.env["HOME"] = self.home.name
        self.random = random.Random(1)

    def lumo(self, *arguments, status=0):
        done = subprocess.run([LUMO, *arguments], cwd=self.folder, env=self.env, capture_output=True, text=True)
        self.assertEqual(done.returncode, status, (arguments, done.stderr))
        return done.stdout, done.stderr

    def json(self, *arguments, status=0):
        """The objects of files that did not fail."""
        return [one for one in json.loads(self.lumo(*arguments, "--json", status=status)[0]) if "error" not in one]

    def write(self, name, width, height, value, pitch=100000):
        pixels = [min(65535, max(0, round(value(x, y)))) for y in range(height) for x in range(width)]
        with open(os.path.join(self.folder, name), "wb") as file:
            file.write(png(width, height, pixels, pitch))
        return pixels

    def noise(self, name, width=80, height=60, mean=9000, sigma=40, **options):
        return self.write(name, width, height, lambda x, y: self.random.gauss(mean, sigma), **options)

    def pixels(self, name):
        self.lumo("convert", name, "raster.raw", "--force")
        with open(os.path.join(self.folder, "raster.raw"), "rb") as file:
            data = file.read()
        return list(struct.unpack_from("<%dH" % ((len(data) - 4) // 2), data, 4))

    def edge(self, name, **options):
        slope = math.tan(math.radians(4))
        return self.write(name, 120, 100, lambda x, y: self.random.gauss(
            15000 + 9000 * math.erf((x - 60 - (y - 50) * slope) / 1.3), 20), **options)

    def test_snr_and_cnr_equal_a_small_computation(self):
        pixels = self.noise("flat.png")
        groups = [pixels[80 * y + x:80 * y + x + 20] for y in range(60) for x in (0, 20, 40, 60)]
        mean = statistics.median(map(statistics.mean, groups))
        sigma = 1.0179 * statistics.median(map(statistics.stdev, groups))
        command = ["quality", "snr", "flat.png", "--roi", "field=0,0,79,59", "--srb", "130"]
        (found,) = self.json(*command)
        for key, value in {"mean": mean, "sigma": sigma, "snr": mean / sigma, "snrN": mean / sigma * 88.6 / 130,
                           "plainSigma": statistics.stdev(pixels)}.items():
            self.assertAlmostEqual(found[key] / value, 1, 8, key)
        self.assertEqual((found["groups"], found["region"], found["history"]), (240, "field", "unprocessed"))
        (row,) = csv.DictReader(io.StringIO(self.lumo(*command, "--csv")[0]))
        self.assertEqual(float(row["snr"]), found["snr"])
        table = self.lumo(*command)[0]
        self.assertIn("%.5g" % found["snr"], table)
        self.assertIn("SRb/um", table)
        (shifted,) = self.json(*command, "--offset", "4000")
        self.assertAlmostEqual(shifted["snr"] / found["snr"], (mean - 4000) / mean, 8)
        (cnr,) = self.json("quality", "cnr", "flat.png", "--object", "0,0,39,59", "--background", "40,0,79,59")
        self.assertAlmostEqual(cnr["cnr"] * cnr["backgroundSigma"], abs(cnr["objectMean"] - cnr["backgroundMean"]), 4)
        self.assertIsNone(cnr["cnrN"])

    def test_edges_spectra_and_gauges(self):
        self.edge("edge.png")
        (mtf,) = self.json("quality", "mtf", "edge.png")
        curve = mtf["curve"]
        self.assertEqual((curve[0], curve[-1][0]), ([0, 1], 5))
        self.assertAlmostEqual(curve[-1][1], mtf["nyquist"], 6)
        self.assertAlmostEqual(mtf["angleDegrees"], 4, 1)
        self.assertTrue(any(abs(f - mtf["mtf50"]) < 0.2 and abs(m - 0.5) < 0.1 for f, m in curve))
        (halved,) = self.json("quality", "mtf", "edge.png", "--pitch", "50")
        self.assertAlmostEqual(halved["mtf50"] / mtf["mtf50"], 2, 8)
        for name in ("a.png", "b.png"):
            self.noise(name, 300, 260)
        (nps,) = self.json("quality", "nps", "a.png", "b.png")
        self.assertEqual((nps["files"], nps["regions"], len(nps["f"]), nps["npsX"][0]), (2, 2, 129, None))
        self.assertAlmostEqual(nps["variance"] / nps["meanSquare"], 1, 5)
        self.assertAlmostEqual(statistics.mean(nps["npsX"][5:]) / (1600 * 0.01), 1, 1)
        table = list(csv.DictReader(io.StringIO(self.lumo("quality", "nps", "a.png", "b.png", "--csv")[0])))
        for row, power in zip(table[1:], nps["npsY"][1:], strict=True):
            self.assertAlmostEqual(float(row["npsY"]), power, 6)

        def wires(x, y):  # pairs of 800, 630 and 500 micrometres, 6 mm apart, at 3 degrees
            u = (x * math.cos(0.052) + (y - 100) * math.sin(0.052)) * 0.1
            off = [2 * (u - place - side * d) / d
                   for place, d in ((5, .8), (11, .63), (17, .5)) for side in (-1, 1)]
            return self.random.gauss(20000 - 9000 * sum(math.sqrt(max(0, 1 - o * o)) for o in off), 30)
        self.write("gauge.png", 240, 200, wires)
        (duplex,) = self.json("quality", "duplex", "gauge.png", "--line", "15,100,215,100")
        self.assertEqual([pair["pair"] for pair in duplex["pairs"]], [1, 2, 3])
        self.assertGreater(min(pair["dip"] for pair in duplex["pairs"]), 80)
        self.assertEqual((duplex["srbMicrometres"], duplex["isrbMethod"]), (None, "none"))
        self.assertIn("sharper", duplex["note"])
        self.assertIn("D3", self.lumo("quality", "duplex", "gauge.png", "--line", "15,100,215,100")[0])

    def test_processed_pictures_are_refused_unless_wanted(self):
        self.noise("flat.png")
        self.lumo("crop", "flat.png", "cropped.png", "--roi", "0,0,59,59")
        self.lumo("rotate", "cropped.png", "turned.png", "--quarter", "90")
        self.lumo("filter", "turned.png", "smooth.png", "type=mean_filter size=3")
        self.lumo("convert", "flat.png", "flat.xyz")
        self.lumo("convert", "flat.png", "codes.xyz", "--format", "xyz8")
        roi = ["--roi", "0,0,59,59"]
        found = self.json("quality", "snr", "smooth.png", "turned.png", "codes.xyz", "flat.xyz", *roi, status=1)
        self.assertEqual([one["history"] for one in found], ["unprocessed", "unknown"])
        self.assertIn("history", found[1]["note"])
        out, err = self.lumo("quality", "snr", "smooth.png", *roi, status=1)
        self.assertRegex(err, r"^smooth.png: processed by .*mean_filter.*\n$")
        (processed,) = self.json("quality", "snr", "smooth.png", *roi, "--processed")
        self.assertEqual(processed["history"], "processed")
        self.assertGreater(processed["snr"], 2 * found[0]["snr"])

    def test_refusals_name_file_and_reason_and_the_others_go_on(self):
        self.noise("flat.png")
        self.noise("nopitch.png", pitch=None)
        self.edge("edge.png")
        with open(os.path.join(self.folder, "bent.csv"), "w") as file:
            file.write("grey,signal\n0,0\n9000,5\n8000,6\n")
        for arguments, reason in (
            (["snr", "flat.png", "--roi", "0,0,99,9"], "flat.png: 0,0,99,9: the region leaves the image"),
            (["snr", "flat.png", "--roi", "a=0,0,30,30"], "flat.png: a: the region is too small"),
            (["snr", "flat.png", "--roi", "0,0,79,59", "--response", "bent.csv"], "not strictly monotone"),
            (["snr", "flat.png", "--roi", "0,0,79,59", "--response", "none.csv"], "none.csv: cannot be opened"),
            (["snr", "flat.png", "--roi", "0,0,79,59", "--dark", "edge.png"], "differ in size"),
            (["mtf", "nopitch.png"], "nopitch.png: all: the pitch is not known"),
            (["mtf", "flat.png"], "flat.png: all: no edge"),
            (["nps", "flat.png"], "flat.png: the region is too small"),
            (["duplex", "flat.png", "--line", "1,1,9,9"], "flat.png: the line is too short"),
        ):
            err = self.lumo("quality", *arguments, status=1)[1]
            self.assertIn(reason, err)
            self.assertEqual(err.count("\n"), 1, err)
        self.assertEqual(len(self.json("quality", "mtf", "none.png", "flat.png", "edge.png", status=1)), 1)
        for arguments in ([], ["snr"], ["snr", "flat.png"], ["snr", "flat.png", "--roi", "1,2,3"],
                          ["snr", "flat.png", "--roi", "=1,2,3,4"], ["cnr", "flat.png"],
                          ["mtf", "edge.png", "--pitch", "0"], ["nps", "flat.png", "--detrend", "all"],
                          ["duplex", "flat.png", "--line", "1,1,9,9", "--first", "16"],
                          ["snr", "flat.png", "--roi", "0,0,79,59", "--csv", "--json"]):
            self.lumo("quality", *arguments, status=2)

    def test_average_is_the_mean_of_frames(self):
        frames = [self.noise("frame%d.png" % i, 20, 10) for i in range(4)]
        names = ["frame%d.png" % i for i in range(4)]
        self.lumo("average", *names, "mean.png")
        self.assertEqual(self.pixels("mean.png"), [(2 * sum(p) + 4) // 8 for p in zip(*frames)])
        self.assertEqual(self.lumo("history", "mean.png")[0], "Step0: average of 4\n")
        self.noise("other.png", 21, 10)
        self.assertIn("other.png: 21 x 10", self.lumo("average", *names, "other.png", "no.png", status=1)[1])
        self.lumo("average", *names, "mean.png", status=1)  # is there already
        self.lumo("average", "mean.png", status=2)
        self.assertFalse(os.path.exists(os.path.join(self.folder, "no.png")))

    def test_bad_pixels_are_found_listed_and_mended(self):
        odd = {(12, 9): 0.0, (30, 20): 1.5, (31, 21): 0.5}
        bright = self.write("bright.png", 50, 40, lambda x, y: 200 + odd.get((x, y), 1) * self.random.gauss(9000, 30))
        self.write("dark.png", 50, 40, lambda x, y: self.random.gauss(200, 3))
        (found,) = self.json("badpixels", "find", "--dark", "dark.png", "--bright", "bright.png", "map.png")
        self.assertEqual([found[key] for key in ("bad", "dead", "over", "under", "singles", "clusters")],
                         [3, 1, 1, 1, 1, 1])
        self.assertIn("dark frames", found["note"])
        self.assertEqual([i for i, p in enumerate(self.pixels("map.png")) if p],
                         [y * 50 + x for x, y in sorted(odd, key=lambda at: at[1])])
        (listed,) = self.json("badpixels", "list", "map.png")
        self.assertEqual(listed["clusterList"], [{"x1": 30, "y1": 20, "x2": 31, "y2": 21, "pixels": 2, "relevant": 0}])
        self.lumo("badpixels", "mend", "map.png", "bright.png", "mended.png")
        around = [bright[y * 50 + x] for y in (8, 9, 10) for x in (11, 12, 13) if (x, y) != (12, 9)]
        self.assertEqual(self.pixels("mended.png")[9 * 50 + 12], (2 * sum(around) + 8) // 16)
        self.assertRegex(self.lumo("history", "mended.png")[0], r"^Step0: badpixels mend map.png --crc [0-9a-f]{8}\n$")
        self.noise("small.png", 20, 20)
        self.assertIn("differ in size", self.lumo("badpixels", "mend", "map.png", "small.png", "no.png", status=1)[1])
        os.mkdir(os.path.join(self.folder, "in"))
        os.rename(os.path.join(self.folder, "bright.png"), os.path.join(self.folder, "in", "bright.png"))
        (batch,) = self.json("badpixels", "mend", "map.png", "--batch", "in", "--out", "out")
        self.assertEqual((batch["mended"], batch["file"]), (3, "out/bright.png"))
        for arguments in ([], ["find", "map.png"], ["find", "--dark", "dark.png", "map.xyz"], ["mend", "map.png"], ["list"]):
            self.lumo("badpixels", *arguments, status=2)


if __name__ == "__main__":
    unittest.main()
