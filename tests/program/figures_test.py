"""Verbs that print figures."""
import json, statistics, unittest

from program import Program


class Figures(Program):
    def test_figures_equal_a_small_computation(self):
        self.phantom("a.png")
        width, _, pixels = self.raster("a.png")
        part = [pixels[y * width + x] for y in range(4, 18) for x in range(3, 21)]
        for arguments, values in (([], pixels), (["--roi", "20,17,3,4"], part)):
            row, = json.loads(self.run_lumo("stats", "a.png", "--json", *arguments)[0])
            self.assertEqual((row["min"], row["max"]), (min(values), max(values)))
            self.assertAlmostEqual(row["mean"], statistics.fmean(values), places=5)
            self.assertAlmostEqual(row["sigma"], statistics.pstdev(values), places=5)
        head, row = "file,region,min,max,mean,sigma\n", r"a\.png,\"%s\",\d+,\d+,[\d.]+,[\d.]+\n"
        out, err = self.run_lumo("stats", "no.png", "a.png", "--roi", "0,0,64,47", "--roi", "0,0,63,47", "--roi", "1,2,3,4",
                                 "--csv", status=1)
        self.assertRegex(out, "^" + head + row % "0,0,63,47" + row % "1,2,3,4" + "$")
        self.assertRegex(err, r"^no\.png: -1 .*\na\.png: --roi 0,0,64,47 leaves the image of 64 x 48 pixels\n$")
        self.assertEqual(self.run_lumo("stats", "no.png", "--csv", status=1)[0], head)
        self.assertRegex(self.run_lumo("stats", "a.png", "--csv", "--limits", "0,0")[0], r"\d,\n$")  # without a deviation
        self.assertIsNone(json.loads(self.run_lumo("stats", "a.png", "--json", "--limits", "0,0")[0])[0]["sigma"])
        counts = [sum(v // 4096 == bin for v in pixels) for bin in range(16)]
        rows = "".join("%d,%d\n" % (4096 * bin, count) for bin, count in enumerate(counts))
        self.assertEqual(self.run_lumo("histogram", "a.png", "--bins", "16", "--csv")[0], "first,count\n" + rows)
        for axis, lines in (("x", [part[i::18] for i in range(18)]), ("y", [part[i * 18:(i + 1) * 18] for i in range(14)])):
            first = 3 if axis == "x" else 4
            rows = "".join("%d,%d\n" % (first + i, sum(line) // len(line)) for i, line in enumerate(lines))
            self.assertEqual(self.run_lumo("profile", "a.png", "--roi", "3,4,20,17", "--axis", axis)[0], axis + ",mean\n" + rows)
        self.assertRegex(self.run_lumo("dose", "a.png", "no.png", status=1)[0], r"^\d+  a\.png\n$")
        self.run_lumo("profile", "a.png", "--roi", "3,4,20,17", "--axis", "x", "--png", "chart.png")
        self.assertGreater(self.info("chart.png")[0]["width"], 1000)

    def test_a_histogram_counts_every_grey_value(self):
        self.write_raster("a.xyz", 4, 2, [65535, 8, 9, 10, 11, 12, 12, 13])
        self.assertRegex(self.run_lumo("histogram", "a.xyz", "--bins", "49")[0], r"^0 7\n(.*\n)+64198 1\n$")
        for arguments, rows in ((["--bins", "3"], "9 1\n10 1\n11 3\n"), ([], "9 1\n10 1\n11 1\n12 2\n")):
            self.assertEqual(self.run_lumo("histogram", "a.xyz", "--lo", "9", "--hi", "12", *arguments)[0], rows)

    def test_json_has_one_shape_and_keeps_what_failed(self):
        self.phantom("a.png")
        dark = sum(v < 32768 for v in self.raster("a.png")[2])
        for arguments, key, value in (
            (["dose"], "dose", int(self.run_lumo("dose", "a.png")[0].split()[0])),
            (["histogram", "--bins", "2"], "bins", [{"first": 0, "last": 32767, "count": dark}, {"first": 32768, "last": 65535, "count": 64 * 48 - dark}]),
            (["profile", "--axis", "y", "--roi", "0,47,63,46"], "first", 46),
            (["history"], "steps", [{"number": 0, "step": self.run_lumo("history", "a.png")[0].split(": ")[1].strip()}]),
            (["info"], "extendedHeader", None), (["stats"], "region", "all"),
        ):
            verb, *options = arguments
            one, = json.loads(self.run_lumo(verb, "a.png", "--json", *options)[0])
            self.assertEqual((one["file"], one[key]), ("a.png", value))
            one, = json.loads(self.run_lumo(verb, "no.png", "--json", *options, status=1)[0])
            self.assertEqual((one["file"], one["code"]), ("no.png", -1))
            self.assertIn("No such file", one["error"])


if __name__ == "__main__":
    unittest.main()
