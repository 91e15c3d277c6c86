"""Verbs that change pixels, and the history that makes their changes again."""
import os, re, unittest

from program import Program


class Changes(Program):
    def test_filter_runs_chains_that_history_gives_back(self):
        self.phantom("a.png")
        commands = ["type=unsharp_mask radius=0.3 value=2", "type=Median_Filter size=5 # five", "type=gauss_fd2 al0=0.5"]
        self.run_lumo("filter", "a.png", "b.png", *commands)
        script = self.run_lumo("history", "b.png", "--script")[0]
        self.assertEqual(script, commands[0] + "\n" + commands[1].replace("#", ";") + "\n" + commands[2] + "\n")
        os.mkdir(os.path.join(self.home.name, "scripts"))
        with open(os.path.join(self.home.name, "scripts", "s.imo"), "w") as file:
            file.write("# sharpen\n\n" + script + " # end\n")
        with open(os.path.join(self.home.name, "orvel.ini"), "w") as file:
            file.write("[Software\\Orvel\\scripts]\nScriptDir=" + os.path.join(self.home.name, "scripts") + "\n")
        self.run_lumo("filter", "a.png", "c.png", "--script", "../scripts/s.imo")
        self.env["ORVEL_CONFIG"] = os.path.join(self.home.name, "orvel.ini")
        self.run_lumo("filter", "a.png", "d.png", "--script", "s.imo")
        a, b, c, d = self.info("a.png", "b.png", "c.png", "d.png")
        self.assertNotEqual(a["pixels"], b["pixels"])
        self.assertEqual([b["pixels"], b["metadata"]["PerformedSteps"]], [c["pixels"], c["metadata"]["PerformedSteps"]])
        self.assertEqual(b["pixels"], d["pixels"])

    def test_filter_tells_what_was_refused_and_writes_nothing(self):
        self.phantom("a.png")
        with open(os.path.join(self.folder, "s.imo"), "w") as file:
            file.write("type=mean_filter\ntype=mean_filter size=99\n")
        for arguments, place in ((["type=sharpen"], "type=sharpen"), (["type=mean_filter size=0"], "type=mean_filter size=0"),
                                 (["--script", "./s.imo"], "./s.imo:2")):
            self.assertRegex(self.run_lumo("filter", "a.png", "b.png", *arguments, status=1)[1],
                             "^" + place + r": -2 [^\n]+\n$")
        self.run_lumo("filter", "a.png", "b.png", "--script", "./no.imo", status=1)
        self.run_lumo("filter", "a.png", "b.png", status=2)
        self.assertEqual(self.files(), ["a.png", "s.imo"])
        self.assertRegex(self.run_lumo("filter", "a.png", "b.png", "type=histogramm_equal3")[0], r"\[return\]\nlp=\d+\nrp=\d+\n")

    @staticmethod
    def again(step, source, target):
        """The command line that a step of the history stands for."""
        patterns = (
            (r"filter (.*)", lambda m: ["filter", source, target, m[1]]),
            (r"LumoRotateImage\(angle=(.*)\)", lambda m: ["rotate", source, target, "--quarter", m[1]]),
            (r"RotationNewImage\(angle=(.*)\)", lambda m: ["rotate", source, target, "--angle", m[1]]),
            (r"Shear\(angle=(.*)\)", lambda m: ["shear", source, target, "--angle", m[1]]),
            (r"LumoMirrorImage\(h=1, v=0\)", lambda m: ["mirror", source, target, "--horizontal"]),
            (r"LumoMirrorImage\(h=0, v=1\)", lambda m: ["mirror", source, target, "--vertical"]),
            (r"CalibrateImage\(calibrationDataFileName=(.*)\)", lambda m: ["calibrate", "apply", m[1], source, target]),
            (r"(phantom) (.*)", lambda m: ["phantom", target] + m[2].split()),
            (r"(\w+)(.*)", lambda m: [m[1], source, target] + m[2].split()))
        return next(line(m) for pattern, line in patterns if (m := re.fullmatch(pattern, step)))

    def test_each_change_is_right_recorded_and_can_be_made_again(self):
        entries = {"Width": 120, "Height": 90, "PixelsizeX": 100000, "PixelsizeY": 100000, "Res_X": 100000,
                   "Res_Y": 100000, "Pixelsize": 7, "MaxPix": 1, "AvgPix": 1}
        self.phantom("plain.png", size=(120, 90))
        self.run_lumo("convert", "plain.png", "a.png", *("--set=Image_X/%s=%d" % entry for entry in entries.items()))
        self.run_lumo("calibrate", "create", "a.png", "a.cal", "--range", "90,110")
        w, h, p = self.raster("a.png")

        def rows(of):
            return [of[i:i + w] for i in range(0, len(of), w)]

        def deflashed():
            lines = rows(p)
            for y in range(1, h - 1):
                for x in range(1, w - 1):
                    if lines[y][x] > lines[y - 1][x] + 500:
                        lines[y][x] = (lines[y - 1][x] + lines[y + 1][x]) // 2
            return sum(lines, [])

        binned = [sum(p[(4 * y + j) * w + 2 * x + i] for j in range(4) for i in range(2)) // 8
                  for y in range(h // 4) for x in range(w // 2)]
        quarter = [p[y * w + x] for x in reversed(range(w)) for y in range(h)]
        for arguments, width, height, expected in (
            (["invert"], w, h, [65535 - v for v in p]),
            (["crop", "--roi", "5,6,30,20"], 26, 15, sum((line[5:31] for line in rows(p)[6:21]), [])),
            (["bin", "--x", "2", "--y", "4"], 60, 22, binned),
            (["deflash", "--threshold", "500"], w, h, deflashed()),
            (["rotate", "--quarter", "90"], h, w, quarter),
            (["rotate", "--quarter", "180"], w, h, p[::-1]),
            (["rotate", "--quarter", "270"], h, w, quarter[::-1]),
            (["mirror", "--horizontal"], w, h, sum((line[::-1] for line in rows(p)), [])),
            (["mirror", "--vertical"], w, h, sum(rows(p)[::-1], [])),
            (["mirror", "--horizontal", "--vertical"], w, h, p[::-1]),
            (["shear", "--angle", "0"], w, h, p),
            (["shear", "--angle", "4.125"], w, h, None),
            (["rotate", "--angle", "1.23456789012345"], None, None, None),
            (["rotate", "--straighten"], None, None, None),
            (["window", "--lo", "0", "--hi", "65535"], w, h, p),
            (["window", "--mode", "log", "--limits", "5000,5000", "--invert"], w, h, None),
            (["equalize", "--limits", "1000,1000"], w, h, None),
            (["equalize", "--clipped", "--strength", "30", "--weight", "20", "--high", "50000"], w, h, None),
            (["filter", "type=unsharp_mask radius=0.5 value=2"], w, h, None),
            (["calibrate"], w, h, None),
        ):
            with self.subTest(arguments):
                line = [arguments[0], "a.png", "b.png", *arguments[1:]]
                if arguments == ["calibrate"]:
                    line = ["calibrate", "apply", "a.cal", "a.png", "b.png"]
                self.run_lumo(*line, "--force")
                b, = self.info("b.png")
                steps = self.run_lumo("history", "b.png")[0].splitlines()
                self.assertEqual(len(steps), 2)
                self.run_lumo(*self.again(steps[1].removeprefix("Step1: "), "a.png", "c.png"), "--force")
                self.assertEqual(self.info("c.png")[0]["pixels"], b["pixels"])
                self.assertEqual(self.run_lumo("history", "c.png")[0].splitlines(), steps)
                if width:
                    self.assertEqual((b["width"], b["height"]), (width, height))
                if expected:
                    self.assertTrue(self.raster("b.png")[2] == expected)  # a difference takes long to show
                pitch = (200000, 400000) if arguments[0] == "bin" else (100000, 100000)
                facts = (b["width"], b["height"], *pitch, *pitch, 0 if arguments[0] == "bin" else 7,
                         b["pixels"]["maximum"], int(b["pixels"]["mean"]))
                self.assertEqual((b["pixelsizeX"], b["pixelsizeY"]), pitch)
                self.assertEqual([b["metadata"]["Image_X"][key] for key in entries], [str(fact) for fact in facts])
        phantom = self.run_lumo("history", "plain.png")[0].removeprefix("Step0: ").strip()
        self.run_lumo(*self.again(phantom, "", "c.png"), "--force")
        self.assertEqual(self.info("c.png")[0]["pixels"], self.info("plain.png")[0]["pixels"])

    def test_turns_keep_what_a_pixel_covers(self):
        self.phantom("a.png")
        self.run_lumo("bin", "a.png", "wide.png", "--x", "2", "--y", "1")
        self.run_lumo("rotate", "wide.png", "b.png", "--quarter", "90")
        b, = self.info("b.png")
        self.assertEqual([b[key] for key in ("width", "height", "pixelsizeX", "pixelsizeY")], [48, 32, 100000, 200000])
        for how in (["--angle", "1"], ["--straighten"]):
            out, err = self.run_lumo("rotate", "wide.png", "c.png", *how, status=1)
            self.assertEqual(out, "")
            self.assertIn("quarter turns", err)
        self.phantom("coarse.png", "--pitch", "100000000")
        self.assertIn("4300000000 x 100000000 nm", self.run_lumo("bin", "coarse.png", "c.png", "--x", "43", "--y", "1", status=1)[1])
        self.run_lumo("window", "a.png", "dark.png", "--lo", "65534", "--hi", "65535")
        for arguments, reason in ((["rotate", "dark.png", "c.png", "--straighten"], "no grey value above"),
                                  (["crop", "a.png", "c.png", "--roi", "64,0,64,1"], "--roi 64,0,64,1 leaves the image of"),
                                  (["profile", "a.png", "--axis", "x", "--roi", "0,0,1,-1"], "--roi 0,0,1,-1 leaves the image of"),
                                  (["bin", "a.png", "c.png", "--x", "65"], "smaller than one block")):
            self.assertRegex(self.run_lumo(*arguments, status=1)[1], r"^(a|dark)\.png: " + reason + r"[^\n]*\n$")
        self.assertNotIn("c.png", self.files())

    def test_the_way_from_an_exposure_to_a_picture(self):
        self.phantom("a.xyz", "--pitch", "125000")
        self.run_lumo("filter", "a.xyz", "sharp.png", "type=unsharp_mask radius=0.5 value=2")
        self.run_lumo("rotate", "sharp.png", "turned.png", "--quarter", "90")
        (w, h, sharp), turned = self.raster("sharp.png"), self.raster("turned.png")
        self.assertEqual((min(sharp), max(sharp)), (0, 65535))  # stretched over the grey values
        self.assertTrue(turned == (h, w, [sharp[y * w + x] for x in reversed(range(w)) for y in range(h)]))
        b, = self.info("turned.png")
        self.assertEqual((b["format"], b["pixelsizeX"], b["pixelsizeY"]), ("PNG", 125000, 125000))
        self.assertEqual({key: b["metadata"]["Image_X"][key] for key in ("Rotation", "Width", "Height", "Res_X", "MaxPix")},
                         {"Rotation": "90", "Width": "48", "Height": "64", "Res_X": "125000", "MaxPix": "65535"})
        self.assertEqual(self.run_lumo("history", "turned.png")[0],
                         "Step0: filter type=unsharp_mask radius=0.5 value=2\nStep1: LumoRotateImage(angle=90)\n")


if __name__ == "__main__":
    unittest.main()
