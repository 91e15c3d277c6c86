"""Gain tables and what is said about them."""
import json, math, os, struct, unittest

from program import Program


class Calibration(Program):
    def test_calibration_tells_what_it_did(self):
        def single(value):
            return struct.unpack("f", struct.pack("f", value))[0]

        width, height = 20, 10
        reference = [1000 + 7 * i for i in range(200)]
        reference[0], reference[1], reference[2] = 0, 100, 60000  # dead, weak, too strong
        image = [(331 * i) % 65536 for i in range(200)]
        image[3], image[199], image[0] = 65535, 65535, 65535  # a gain above 1, below 1, of 1
        self.write_raster("ref.xyz", width, height, reference)
        self.write_raster("a.xyz", width, height, image)
        told = json.loads(self.run_lumo("calibrate", "create", "ref.xyz", "a.cal", "--json")[0])
        self.assertEqual(told, [{"file": "a.cal", "pixels": 200, "zeroPixels": 1, "zeroSmoothed": 1,
                                "atLowestGain": 1, "atHighestGain": 1}])
        codes = struct.unpack("<200H", self.read("a.cal")[20:])
        products = [math.floor(v * single(code * 1.5 / 65535 + 0.5)) for v, code in zip(image, codes)]
        out, err = self.run_lumo("calibrate", "apply", "a.cal", "a.xyz", "b.png", "--json")
        clamped = sum(v > 65535 for v in products)
        self.assertLess(0, clamped)
        one, = json.loads(out)
        self.assertEqual(one, {"file": "b.png", "corrected": 200, "beyondTable": 0, "atLowestGain": 1,
                                           "atHighestGain": 1, "clamped": clamped})
        self.assertEqual(err, "")
        self.assertTrue(self.raster("b.png")[2] == [min(v, 65535) for v in products])
        self.assertRegex(self.run_lumo("calibrate", "apply", "./a.cal", "b.png", "c.png")[1], "^b.png: warning: already")
        os.mkdir(os.path.join(self.folder, "many"))
        self.write_raster("many/a.xyz", width, height, image)
        many = self.run_lumo("calibrate", "apply", "a.cal", "--batch", "many", "--out", "out", "--json", "--format", "png")[0]
        self.assertEqual(json.loads(many), [{**one, "file": "out/a.png"}])
        self.write_raster("wide.xyz", 25, 10, [1] * 250)
        self.assertIn("beyond the table: 50\n", self.run_lumo("calibrate", "apply", "a.cal", "wide.xyz", "d.png")[0])
        # A rounding before a cut makes the highest gain's code 65534 here.
        self.assertIn("at the highest gain: 1\n", self.run_lumo("calibrate", "create", "ref.xyz", "b.cal", "--range", "15,200")[0])
        self.assertEqual(max(struct.unpack("<200H", self.read("b.cal")[20:])), 65534)
        self.assertIn("at the highest gain: 1\n", self.run_lumo("calibrate", "apply", "b.cal", "a.xyz", "f.png")[0])
        os.truncate(os.path.join(self.folder, "b.cal"), 99)
        for table, reason in (("no.cal", r"-1 .*\(No such"), ("b.cal", r"-11 .*\(cut short")):
            self.assertRegex(self.run_lumo("calibrate", "apply", table, "a.xyz", "e.png", status=1)[1], "^%s: %s" % (table, reason))
        self.assertNotIn("e.png", self.files())

    def test_a_detector_is_corrected_by_its_flat_field(self):
        for exposure, flat in (("a.png", "flat.png"), ("b.png", "flat_b.png")):
            self.phantom(exposure, "--detector", flat, "--seed", "3", size=(256, 256))
        a, flat, b, flat_b = self.info("a.png", "flat.png", "b.png", "flat_b.png")
        self.assertEqual([a["pixels"], flat["pixels"]], [b["pixels"], flat_b["pixels"]])
        self.assertEqual([a["pixels"]["crc32"], flat["pixels"]["crc32"]], ["a894a6b3", "49162a4c"])
        self.run_lumo("calibrate", "create", "flat.png", "a.cal")
        self.run_lumo("calibrate", "apply", "a.cal", "a.png", "c.png")
        before, after = (row["sigma"] / row["mean"] for row in json.loads(
            self.run_lumo("stats", "a.png", "c.png", "--roi", "50,50,70,90", "--json")[0]))
        self.assertLess(2 * after, before)


if __name__ == "__main__":
    unittest.main()
