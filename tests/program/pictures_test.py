"""Pictures for people: previews, charts, sheets."""
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
        self.write_raster("d.xyz", 4, 1, [0, 1000, 2000, 4000])
        for arguments, codes in (([], [0, 64, 128, 255]), (["--sqrt"], [0, 127, 180, 255])):
            self.run_lumo("preview", "d.xyz", "e.png", "--force", *arguments)
            self.assertEqual([v >> 8 for v in self.raster("e.png")[2]], codes)

    def test_a_chart_draws_each_value_above_its_tick(self):
        self.write_raster("a.xyz", 4, 1, [5, 5, 5, 2])
        self.run_lumo("histogram", "a.xyz", "--lo", "0", "--hi", "9", "--png", "chart.png")
        width, height, pixels = self.raster("chart.png")
        dark = [[x for x in range(width) if pixels[y * width + x] < 20000] for y in range(height)]
        axis = max(y for y in range(height) if len(dark[y]) > 1000)
        ticks = dark[axis + 2][-11:]
        self.assertTrue(all(pixels[(axis + 5) * width + x] == 0 for x in ticks))
        for y, drawn in ((min(y for y in range(height) if len(dark[y]) > 90) + 1, [5]), (axis - 9, [2, 5])):
            self.assertEqual([x for x in dark[y] if x > ticks[0]],
                             [x for tick in drawn for x in range(ticks[tick], ticks[tick + 1])])

    def test_a_sheet_shows_every_image(self):
        self.write_raster("a.xyz", 40, 30, [65535] * 1200)
        self.write_raster("b.xyz", 40, 30, [0] * 1200)
        self.run_lumo("sheet", "a.xyz", "b.xyz", "b.xyz", "s.png", "--width", "40", "--columns", "2", "--roi", "0,0,39,9")
        width, height, pixels = self.raster("s.png")
        self.assertEqual(width, 2 * 40 + 3 * 16)
        picture = [pixels[(16 + y) * width + 16 + x] for y in range(10) for x in range(96)]
        self.assertTrue(picture == ([max(pixels)] * 40 + [pixels[0]] * 16 + [0] * 40) * 10)
        self.assertGreater(pixels[26 * width:].count(0), 400)  # letters, and the third


if __name__ == "__main__":
    unittest.main()
