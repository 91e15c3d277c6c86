"""Pictures for people: previews, charts, sheets."""
import re
import unittest

from program import Program


class Pictures(Program):
    def test_preview_is_an_8_bit_picture(self):
        self.phantom("a.png")
        self.run_lumo("preview", "a.png", "b.png", "--width", "20")
        self.assertEqual(self.read("b.png")[16:26], bytes([0, 0, 0, 20, 0, 0, 0, 15, 8, 0]))
        self.run_lumo("preview", "a.png", "c.png")
        picture = self.info("c.png")[0]
        self.assertEqual((picture["width"], picture["pixels"]["maximum"] >> 8), (64, 255))
        self.write_raster("d.xyz", 5, 1, [0, 1000, 2000, 4000, 65535])
        for arguments, codes in ((["--lo", "0", "--hi", "4000"], [0, 64, 128, 255, 255]),
                                 (["--lo", "1000", "--hi", "2000"], [0, 0, 255, 255, 255]),
                                 (["--lo", "0", "--hi", "4000", "--sqrt"], [0, 128, 180, 255, 255])):
            self.run_lumo("preview", "d.xyz", "e.png", "--force", *arguments)
            self.assertEqual([v >> 8 for v in self.raster("e.png")[2]], codes)

    def test_one_hot_pixel_does_not_darken_a_picture(self):
        self.write_raster("a.xyz", 100, 50, [100 + x for x in range(4999)] + [65535])
        self.run_lumo("preview", "a.xyz", "b.png")
        codes = [v >> 8 for v in self.raster("b.png")[2]]
        self.assertTrue(125 < codes[2500] < 130 and codes[5] == 0 and codes[4990] == 255)

    def widest_line_in(self, svg, count):
        """The points of a chart's curve of so many points: letters have outlines too."""
        paths = [[tuple(map(float, p)) for p in re.findall(r"[ML] ([-\d.]+) ([-\d.]+)", path)]
                 for path in re.findall(r' d="(M [^"]*)"', svg)]
        return max((path for path in paths if len(path) == count), key=lambda p: p[-1][0] - p[0][0])

    def test_a_chart_draws_each_value_at_its_place(self):
        self.write_raster("a.xyz", 5, 2, [10, 20, 40, 80, 10] * 2)
        self.run_lumo("profile", "a.xyz", "--axis", "x", "--chart", "c.svg")
        points = self.widest_line_in(self.read("c.svg").decode(), 5)
        width = points[4][0] - points[0][0]
        self.assertEqual([round((x - points[0][0]) / width, 2) for x, _ in points], [0, 0.25, 0.5, 0.75, 1])
        rises = [points[0][1] - y for _, y in points]  # down the page is up the axis
        self.assertTrue(rises[3] > width / 3 and rises[4] == 0)
        for rise, value in zip(rises, (10, 20, 40, 80, 10)):
            self.assertAlmostEqual(rise / rises[3], (value - 10) / 70, 2)

    def test_charts_come_as_pages_of_each_kind(self):
        self.write_raster("a.xyz", 4, 3, list(range(12)))
        self.write_raster("b.xyz", 4, 3, [7] * 12)
        for name, start in (("c.png", b"\x89PNG"), ("c.svg", b"<?xml"), ("c.pdf", b"%PDF")):
            self.run_lumo("histogram", "a.xyz", "b.xyz", "--roi", "0,0,1,1", "--roi", "0,0,3,2", "--chart", name)
            self.assertTrue(self.read(name).startswith(start))
        self.assertIn("a.gif", self.run_lumo("histogram", "a.xyz", "--chart", "a.gif", status=2)[1])
        table = self.run_lumo("histogram", "a.xyz", "b.xyz", "--csv", "--bins", "65536", "--hi", "9")[0].splitlines()
        self.assertEqual((table[0], table[1], table[18]), ("file,region,first,count", "a.xyz,all,0,1", "b.xyz,all,7,12"))

    def test_a_sheet_shows_every_image(self):
        self.write_raster("a.xyz", 40, 30, [65535] * 1200)
        self.write_raster("b.xyz", 40, 30, [0] * 1200)
        self.run_lumo("sheet", "a.xyz", "b.xyz", "b.xyz", "s.png", "--width", "40", "--columns", "2", "--roi", "0,0,39,9",
                      "--common")
        width, height, pixels = self.raster("s.png")
        self.assertEqual(width, 2 * 40 + 3 * 16)
        picture = [pixels[(16 + y) * width + 16 + x] for y in range(10) for x in range(96)]
        self.assertTrue(picture == ([max(pixels)] * 40 + [pixels[0]] * 16 + [0] * 40) * 10)
        self.assertGreater(pixels[26 * width:].count(0), 400)  # letters, and the third


if __name__ == "__main__":
    unittest.main()
