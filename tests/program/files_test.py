"""What is read and written: formats, metadata, what exists already, what fails."""
import subprocess, json, os, re, resource, signal, struct, time, unittest, zlib

from program import Program


class Files(Program):
    def test_a_hundred_thousand_entries_are_read_in_one_walk(self):
        self.phantom("a.png")
        data, count = self.read("a.png"), 100000
        text = "Many\0[S]\n" + "".join("key%d=%%lumo:%d%%0A\n" % (n, n) for n in range(count))
        text += "long=" + 3000 * "v" + "\n[PerformedSteps]\n" + "".join("Step%d=x\n" % n for n in range(1, 1000))
        chunk, at = b"tEXt" + text.encode(), data.index(b"IEND") - 4
        with open(os.path.join(self.folder, "b.png"), "wb") as file:
            file.write(data[:at] + struct.pack(">I", len(chunk) - 4) + chunk + struct.pack(">I", zlib.crc32(chunk)) + data[at:])
        before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
        expected = {"key%d" % n: "%d\n" % n for n in range(count)} | {"long": 3000 * "v"}
        self.assertEqual(self.info("b.png")[0]["metadata"]["S"], expected)
        self.assertRegex(self.run_lumo("info", "b.png")[0], r"\n    S +long +v{200}\.\.\. \(3000 bytes\)\n")
        self.run_lumo("convert", "b.png", "c.png", "--set", "S/key1=new")
        self.run_lumo("invert", "c.png", "d.png")
        self.assertEqual(self.info("d.png")[0]["metadata"]["S"], expected | {"key1": "new"})
        self.assertEqual(self.run_lumo("history", "d.png")[0].splitlines()[-2:], ["Step999: x", "Step1000: invert"])
        notes = self.run_lumo("convert", "d.png", "e.xyz")[1]
        self.assertEqual(notes.count("S/"), count + 1)
        used = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before
        self.assertLess(used, 30)  # half a minute and more for one of them if each entry searches the text

    def test_failures_are_one_line_each_and_the_others_go_on(self):
        self.phantom("in.png")
        self.phantom("cut.xyz")
        os.truncate(os.path.join(self.folder, "cut.xyz"), 100)
        out, err = self.run_lumo("info", "no\n.png", "in.png", "cut.xyz", "--json", status=1)
        self.assertEqual([(image["file"], image.get("code")) for image in json.loads(out)],
                         [("no\n.png", -1), ("in.png", None), ("cut.xyz", -50)])
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

    def write(self, file, data):
        with open(os.path.join(self.folder, file), "wb") as stream:
            stream.write(data)

    def test_a_refusal_names_what_is_wrong(self):
        self.phantom("a.png")
        self.phantom("b.xyz")
        self.phantom("turned.xyz", size=(48, 64))
        png, xyz, info = self.read("a.png"), self.read("b.xyz"), self.read("b.txt")
        flipped = bytearray(png)
        flipped[len(png) // 2] ^= 1
        for file, data, reason in (
            ("empty.png", b"", "-50 the file is empty"), ("photo.jpg", b"\xff\xd8\xff\xe0" + bytes(99), r"-50 not .* \(JPEG\)"),
            ("plane.bmp", b"BM" + bytes(99), r"-50 not .* \(BMP\)"), ("a.webp", b"RIFF" + bytes(99), r"-50 not .* \(RIFF, .*\)"),
            ("text.png", b"text and more", "-50 not an image format that lumo reads"),
            ("bad.png", bytes(flipped), "-11 damaged: bad checksum in chunk IDAT"),
            ("cut.png", png[:len(png) // 2], "-11 cut short: the file ends in chunk IDAT"),
            ("end.png", png[:-12], "-11 cut short: the file ends before its last chunk"),
            ("cut.xyz", xyz[:-1], "-50 cut short, or no image: 6147 bytes of the 6148 that 64 x 48 pixels take"),
            ("flat.raw", bytes(8), "-50 an image of 0 x 0 pixels"), ("alone.xyz", xyz, r"-10004 .* \(alone.txt\)"),
        ):
            self.write(file, data)
            self.assertRegex(self.run_lumo("info", file, status=1)[1], "^%s: %s\n$" % (file, reason))
        self.write("turned.txt", info)
        self.assertIn("48 x 64 pixels, but its information file says 64 x 48\n", self.run_lumo("info", "turned.xyz")[1])

    def test_standard_streams_stand_for_files(self):
        self.phantom("a.png")
        self.phantom("b.xyz")
        png = self.read("a.png")
        process = self.start("invert", "-", "-", stdin=subprocess.PIPE)
        out, err = process.communicate(png)
        self.assertEqual((process.returncode, err), (0, b""))
        self.write("c.png", out)
        with open(os.path.join(self.folder, "d.png"), "wb") as file:
            self.run_lumo("invert", "c.png", "-", stdout=file)
        a, d = self.info("a.png", "d.png")
        self.assertEqual(a["pixels"], d["pixels"])
        os.mkfifo(os.path.join(self.folder, "pipe"))
        for file in ("a.png", "b.xyz"):  # of an XYZ image, the pixels
            reader = self.start("info", "--json", "pipe")
            self.write("pipe", self.read(file))
            self.assertEqual(json.loads(reader.communicate()[0])[0]["pixels"], self.info(file)[0]["pixels"])
        for arguments, reason in ((["convert", "a.png", "pipe", "--format", "png", "--force"], "could be replaced"),
                                  (["convert", "a.png", "/dev/full", "--format", "png", "--force"], "could be replaced"),
                                  (["info", "/dev/zero"], "0 x 0"), (["info", "/dev/null"], "empty")):
            self.assertIn(reason, self.run_lumo(*arguments, status=1)[1])
        with open("/dev/full", "wb") as full:
            self.assertIn("No space left", self.run_lumo("convert", "a.png", "-", stdout=full, status=1)[1])
        self.assertIn("two files", self.run_lumo("convert", "a.png", "-", "--format", "xyz", status=2)[1])

    def test_force_keeps_mode_links_and_pairs(self):
        self.phantom("a.png")
        os.chmod(os.path.join(self.folder, "a.png"), 0o640)
        if os.getuid() == 0:
            os.chown(os.path.join(self.folder, "a.png"), 12, 34)
        before = os.stat(os.path.join(self.folder, "a.png"))
        os.mkdir(os.path.join(self.folder, "sub"))
        os.symlink("../a.png", os.path.join(self.folder, "sub/link.png"))
        self.run_lumo("invert", "a.png", "sub/link.png", "--force")
        after = os.stat(os.path.join(self.folder, "a.png"))
        self.assertTrue(os.path.islink(os.path.join(self.folder, "sub/link.png")))
        self.assertEqual((after.st_mode, after.st_uid, after.st_gid), (before.st_mode, before.st_uid, before.st_gid))
        self.assertNotEqual(after.st_ino, before.st_ino)
        for side in range(8, 12):
            self.phantom("%d.xyz" % side, size=(side, side))
        for _ in range(5):
            writers = [self.start("convert", "%d.xyz" % side, "pair.xyz", "--force") for side in range(8, 12)]
            self.assertEqual([writer.communicate() and writer.returncode for writer in writers], [0] * 4)
            self.assertEqual(self.run_lumo("info", "pair.xyz")[1], "")  # a mixed pair contradicts itself
        self.assertEqual([file for file in self.files() if file[0] == "."], [])

    def test_what_a_killed_run_leaves_the_next_one_removes(self):
        process = self.start("phantom", "a.xyz", "--width", "3000", "--height", "3000")
        left = self.until(lambda: [file for file in self.files() if file.startswith(".lumo-")])
        process.kill()
        process.communicate()
        self.assertEqual(self.files(), left)
        os.mkdir(os.path.join(self.folder, ".lumo-of-the-user"))
        self.phantom("b.png")
        self.assertEqual(self.files(), [".lumo-of-the-user", "b.png"])

    def test_a_pitch_that_no_file_told_stays_assumed(self):
        self.phantom("a.png")
        png = self.read("a.png")
        at = png.index(b"pHYs") - 4
        self.write("b.png", png[:at] + png[at + 21:])
        self.assertIn("  pitch    none (352778 nm assumed)\n", self.run_lumo("info", "b.png")[0])
        self.run_lumo("convert", "b.png", "c.xyz")
        self.run_lumo("convert", "c.xyz", "d.png")
        self.run_lumo("bin", "d.png", "e.png", "--x", "2")
        texts = [image["pitch"] for image in self.info("b.png", "c.xyz", "d.png", "e.png")]
        self.assertEqual(texts[:2], 2 * ["none (352778 nm assumed)"])
        self.assertTrue(all(re.fullmatch(r"none \(.* nm assumed\)", text) for text in texts), texts)
        self.run_lumo("convert", "d.png", "f.xyz", "--pitch", "100000,50000")
        self.run_lumo("convert", "f.xyz", "g.png")
        self.assertEqual([image["pitch"] for image in self.info("f.xyz", "g.png")], 2 * ["100000 x 50000 nm"])
        for pitch in ("0", "1,", "1,2,3", "x", "1000000001", "-5", "1.5"):
            self.assertIn("--pitch", self.run_lumo("convert", "a.png", "h.png", "--pitch=" + pitch, status=2)[1])


if __name__ == "__main__":
    unittest.main()
