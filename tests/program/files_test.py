"""What is read and written: formats, metadata, what exists already, what fails."""
import json, os, re, resource, signal, time, unittest

from program import Program


class Files(Program):
    def test_failures_are_one_line_each_and_the_others_go_on(self):
        self.phantom("in.png")
        self.phantom("cut.xyz")
        os.truncate(os.path.join(self.folder, "cut.xyz"), 100)
        out, err = self.run_lumo("info", "no\n.png", "in.png", "cut.xyz", "--json", status=1)
        self.assertEqual([image["file"] for image in json.loads(out)], ["in.png"])
        self.assertRegex(err, r"^no\\x0A\.png: -1 [^\n]+\ncut\.xyz: -50 [^\n]+\n$")
        with open(os.path.join(self.folder, "a.jpg"), "w") as file:
            file.write(99 * "?")
        for file, reason in (("no.png", "-1 .* \\(No such file or directory\\)"), (".", "-1 .* \\(Is a directory\\)"),
                             ("a.jpg", "-50 not an image format that lumo reads")):
            self.assertRegex(self.run_lumo("info", file, status=1)[1], "^" + re.escape(file) + ": " + reason + "\n$")
        before = self.files()
        for arguments in (["convert", "in.png", "no/a.png"], ["phantom", "no/a.png", "--detector", "flat.png"]):
            self.assertRegex(self.run_lumo(*arguments, status=1)[1], r"^no/a\.png: -16 [^\n]+\n$")
        self.assertEqual(self.files(), before)

    def test_round_trips_keep_pixels_pitch_and_entries(self):
        _, err = self.phantom("a.png", "--pitch", "115000", "--seed", "7")
        self.assertIn("115008", err)
        _, err = self.run_lumo("convert", "a.png", "b.xyz", "--set", "Image/Source=a=b/c " + 30 * "x")
        self.assertEqual(err, 'b.xyz: note: Image/Source becomes "a=b/c ' + 26 * "x" + '" in XYZ\n'
                              "b.xyz: note: does not travel in XYZ: Image/Software, PerformedSteps/Step0\n")
        self.run_lumo("convert", "b.xyz", "c.raw")
        self.run_lumo("convert", "c.raw", "d.png", "--level", "0", "--set", "PerformedSteps/Step10=last",
                      "--set", "PerformedSteps/Step2=two\nlines")
        self.run_lumo("convert", "d.png", "e.dat", "--format", "png", "--level", "9")
        self.assertLess(len(self.read("e.dat")), len(self.read("d.png")))
        a, *others = self.info("a.png", "b.xyz", "c.raw", "d.png", "e.dat")
        self.assertEqual(a["pixels"]["crc32"], "3d5a29a6")  # the same on every machine
        for image in others:
            for key in ("width", "height", "pixelsizeX", "pixelsizeY", "maxPix", "avgPix", "pixels"):
                self.assertEqual(image[key], a[key], (image["file"], key))
            self.assertEqual(image["metadata"]["Image"]["Source"], "a=b/c " + 26 * "x")
            self.assertEqual(image["metadata"]["Image"]["Creation Time"][3:], a["metadata"]["Image"]["Creation Time"][3:])
        self.assertEqual(self.run_lumo("history", "e.dat")[0], "Step2: two\\x0Alines\nStep10: last\n")

    def test_lossy_and_partial_formats(self):
        self.phantom("a.png")
        self.assertIn("lossy", self.run_lumo("convert", "a.png", "b.xyz", "--format", "xyz8")[1])
        a, b = self.info("a.png", "b.xyz")
        self.assertEqual(b["format"], "XYZ, 8-bit")
        self.assertLess(0, a["pixels"]["mean"] - b["pixels"]["mean"])  # codes are truncated
        self.assertLess(a["pixels"]["mean"] - b["pixels"]["mean"], 200)
        self.run_lumo("convert", "a.png", "c.txt")
        self.run_lumo("convert", "a.png", "d.xyz")
        self.assertEqual(self.read("c.txt"), self.read("d.txt"))
        self.assertNotIn("c.xyz", self.files())
        self.phantom("fine.png", "--pitch", "500")
        self.assertIn("cannot be read back", self.run_lumo("convert", "fine.png", "e.xyz")[1])

    def test_any_bytes_in_a_value_reach_json_and_table(self):
        value = b"caf\xe9 \xe2\x82\xac\x1b[2J\"\\\n[Image_X]\nbits=8"
        self.phantom("a.png")
        self.run_lumo("convert", "a.png", "b.png", "--set", b"Image/Author=" + value)
        metadata = self.info("b.png")[0]["metadata"]
        self.assertEqual(metadata["Image"]["Author"], "caf\xe9 \u20ac\x1b[2J\"\\\n[Image_X]\nbits=8")
        self.assertEqual(metadata["Image_X"]["bits"], "16")
        self.assertIn('caf\\xE9 \u20ac\\x1B[2J"\\\\x0A[', self.run_lumo("info", "b.png")[0])

    def test_existing_files_stay_without_force(self):
        self.phantom("a.png")
        self.phantom("b.xyz")
        os.unlink(os.path.join(self.folder, "b.xyz"))
        before = {file: self.read(file) for file in self.files()}
        for arguments in (["phantom", "a.png", "--width", "9"], ["phantom", "b.xyz", "--width", "9"],
                          ["convert", "a.png", "b.txt"], ["preview", "a.png", "a.png"],
                          ["phantom", "a.png", "--detector", "flat.png"]):
            self.assertRegex(self.run_lumo(*arguments, status=1)[1], r"^[ab]\.\w+: exists already")
        self.assertEqual({file: self.read(file) for file in self.files()}, before)
        self.phantom("b.xyz", "--force", size=(9, 5))
        self.run_lumo("convert", "b.xyz", "b.xyz", "--force")
        self.assertEqual(self.info("b.xyz")[0]["width"], 9)
        os.mkdir(os.path.join(self.folder, "d.png"))
        for force in ([], ["--force"]):
            self.assertIn("could be replaced", self.run_lumo("convert", "a.png", "d.png", *force, status=1)[1])

    def test_no_half_file_after_a_full_disk_or_an_interrupt(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (4000, 4000))

        self.env["ORVEL_LOG_LEVEL"] = "-1"
        for file in ("a.png", "a.xyz"):
            err = self.run_lumo("phantom", file, status=1, preexec_fn=limit)[1]
            self.assertRegex(err, "^" + file + ": -16 ")
        for signal_number in (signal.SIGINT, signal.SIGTERM):
            process = self.start("phantom", "big.png", "--width", "4000", "--height", "3000")
            while not self.files() and process.poll() is None:
                time.sleep(0.01)
            process.send_signal(signal_number)
            process.communicate()
            self.assertEqual(process.returncode, -signal_number)
        self.assertEqual(self.files(), [])


if __name__ == "__main__":
    unittest.main()
