#!/usr/bin/env python3
"""Runs the program `lumo` as a user does: outputs, exit statuses, and what lies in the folder after."""
import json, math, os, pty, re, resource, signal, statistics, struct, subprocess, sys, tempfile, time, unittest, zlib

LUMO = os.path.abspath(sys.argv.pop(1))


class Program(unittest.TestCase):
    def setUp(self):
        self.home = tempfile.TemporaryDirectory()
        self.addCleanup(self.home.cleanup)
        self.folder = os.path.join(self.home.name, "folder")
        os.mkdir(self.folder)
        self.env = {k: v for k, v in os.environ.items() if not k.startswith(("ORVEL_", "XDG_"))}
        self.env["HOME"] = self.home.name

    def start(self, *arguments, **options):
        return subprocess.Popen([LUMO, *arguments], cwd=self.folder, env=self.env,
                                stderr=subprocess.PIPE, **{"stdout": subprocess.PIPE, **options})

    def run_lumo(self, *arguments, status=0, **options):
        process = self.start(*arguments, **options)
        out, err = process.communicate()
        self.assertEqual(process.returncode, status, (arguments, err))
        return (out or b"").decode(), err.decode()

    def phantom(self, file, *options, size=(64, 48)):
        return self.run_lumo("phantom", file, "--width", str(size[0]), "--height", str(size[1]), *options)

    def info(self, *files):
        return json.loads(self.run_lumo("info", "--json", *files)[0])

    def files(self):
        return sorted(os.listdir(self.folder))

    def read(self, file):
        with open(os.path.join(self.folder, file), "rb") as stream:
            return stream.read()

    def raster(self, file):
        """Width, height, and the grey values row by row."""
        self.run_lumo("convert", file, "raster.raw", "--force")
        data = self.read("raster.raw")
        for name in ("raster.raw", "raster.txt"):
            os.unlink(os.path.join(self.folder, name))
        width, height = struct.unpack_from("<HH", data)
        return width, height, list(struct.unpack_from("<%dH" % (width * height), data, 4))

    def write_raster(self, file, width, height, pixels):
        self.phantom(file, size=(width, height))
        with open(os.path.join(self.folder, file), "r+b") as stream:
            stream.seek(4)
            stream.write(struct.pack("<%dH" % len(pixels), *pixels))

    def test_wrong_command_lines_write_nothing(self):
        self.phantom("in.png")
        for arguments in (
            [], ["nosuch"], ["--nosuch"], ["info"], ["info", "--nosuch", "in.png"], ["history"],
            ["convert", "in.png"], ["convert", "in.png", "a.png", "b.png"], ["convert", "in.png", "a.bmp"],
            ["convert", "in.png", "a.gif"], ["convert", "in.png", "a"], ["convert", "in.png", "x.d/a"],
            ["convert", "in.png", "a.png", "--format", "gif"], ["convert", "in.png", "a.png", "--level", "10"],
            ["convert", "in.png", "a.png", "--set", "Source=x"], ["convert", "in.png", "a.png", "--set", "a/=x"],
            ["convert", "in.png", "a.tiff", "--format", "xyz"], ["convert", "in.png", "a.txt", "--format", "raw"],
            ["convert", "in.png", "a.xyz", "--format", "txt"], ["convert", "in.png", "a.TXT"],
            ["phantom", "a.png", "--width", "0"], ["phantom", "a.png", "--seed", "-1"], ["phantom", "a.png", "--detector", "a.png"],
            ["phantom", "a.png", "--detector", "a.gif"], ["phantom", "a.png", "--detector", "./a.png", "--force"],
            ["phantom", "a.xyz", "--detector", "a.raw"], ["phantom", "a.png", "--seed", "99999999999999999999"],
            ["preview", "in.png", "a.jpg"], ["preview", "in.png", "a.png", "--width", "0"],
            ["sheet", "a.png"], ["sheet", "in.png", "a.jpg"], ["sheet", "in.png", "a.png", "--roi", "1,2"],
            ["stats", "in.png", "--csv", "--json"], ["stats", "in.png", "--roi", "1,2,3"], ["stats", "in.png", "--limits", "1"],
            ["histogram", "in.png", "--bins", "0"], ["histogram", "in.png", "--lo", "9", "--hi", "8"], ["histogram", "in.png", "--png", "a.jpg"], ["dose"],
            ["profile", "in.png", "--axis", "x"], ["profile", "in.png", "--roi", "0,0,1,1", "--axis", "z"],
            ["window", "in.png", "a.png"], ["window", "in.png", "a.png", "--lo", "5"],
            ["window", "in.png", "a.png", "--lo", "5", "--hi", "9", "--limits", "1,1"],
            ["window", "in.png", "a.png", "--limits", "1,1", "--mode", "cubic"],
            ["equalize", "in.png", "a.png", "--strength", "5"], ["equalize", "in.png", "a.png", "--limits", "1"], ["equalize", "in.png", "a.png", "--limits=-1,0"],
            ["crop", "in.png", "a.png"], ["crop", "in.png", "a.png", "--roi", "1,2,3,x"], ["bin", "in.png", "a.png", "--x", "0"],
            ["deflash", "in.png", "a.png", "--threshold", "65536"], ["invert", "in.png"],
            ["rotate", "in.png", "a.png"], ["rotate", "in.png", "a.png", "--quarter", "45"],
            ["rotate", "in.png", "a.png", "--quarter", "90", "--straighten"], ["mirror", "in.png", "a.png"],
            ["shear", "in.png", "a.png"], ["shear", "in.png", "a.png", "--angle", "90"],
            ["calibrate"], ["calibrate", "create", "in.png", "a.cal", "--range", "100,200"],
            ["calibrate", "create", "in.png", "a.cal", "--smooth", "3"], ["calibrate", "apply", "a.cal", "in.png"],
            ["calibrate", "apply", "a.cal", "in.png", "a.png", "--batch", ".", "--out", "a"],
            ["filter", "in.png", "a.png"], ["filter", "--batch", ".", "type=mean_filter"],
            ["filter", "--batch", ".", "--out", ".", "type=mean_filter"], ["filter", "type=mean_filter", "--out", "a"],
        ):
            out, err = self.run_lumo(*arguments, status=2)
            self.assertEqual((out, self.files()), ("", ["in.png"]), arguments)
            self.assertTrue(err.startswith(("lumo", "a", "x.d/a", "--")), err)
        for arguments, reason in (
            (["info", "--nosuch"], "lumo info: not expected: --nosuch\n"), (["--nosuch", "info"], "lumo: not expected: --nosuch\n"),
            (["nosuch", "in.png"], "lumo: there is no verb nosuch\n"), (["calibrate", "apply"], "lumo calibrate apply: TABLE is required\n"),
            (["crop", "in.png", "a.png", "--roi", "1", "2", "3"], "lumo crop: not expected: 2 3\n"),
            (["convert", "", "a.png"], "lumo: argument 2 is empty\n"), (["stats", "in.png", "--limits", ""], "lumo: argument 4 is empty\n"),
        ):
            self.assertTrue(self.run_lumo(*arguments, status=2)[1].startswith(reason), arguments)
        for question in (["--help"], ["--version"], ["convert", "--help"]):
            self.assertEqual(self.run_lumo(*question)[1], "")

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
        self.assertEqual([image["file"] for image in json.loads(out)], ["in.png"])
        self.assertRegex(err, r"^no\\x0A\.png: -1 [^\n]+\ncut\.xyz: -50 [^\n]+\n$")
        with open(os.path.join(self.folder, "a.jpg"), "w") as file:
            file.write(99 * "?")
        for file, reason in (("no.png", "-1 .* \\(No such file or directory\\)"), (".", "-1 .* \\(a folder\\)"),
                             ("a.jpg", "-50 .* \\(read as XYZ, as it is no PNG file\\)")):
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

    def test_lost_output_is_noticed(self):
        self.phantom("a.png")
        with open("/dev/full", "w") as full:
            self.assertIn("standard output", self.run_lumo("info", "a.png", stdout=full, status=1)[1])
            self.run_lumo("--help", stdout=full, status=1)
        for logging in ({}, {"ORVEL_LOG_DIR": self.home.name}):
            self.env.update(logging)
            self.run_lumo("info", "a.png", preexec_fn=lambda: os.close(1), status=1)

    def test_log_keeps_out_of_the_folder(self):
        def log(*path):
            return os.path.exists(os.path.join(self.home.name, *path, "orvellog.log"))

        self.run_lumo("--version")
        self.assertTrue(log(".local", "state", "lumo"))
        self.env["XDG_STATE_HOME"] = os.path.join(self.home.name, "x", "y")
        self.run_lumo("--version")
        self.assertTrue(log("x", "y", "lumo"))
        self.env["ORVEL_LOG_DIR"] = self.home.name
        self.run_lumo("--version")
        self.assertTrue(log())
        for name in ("ORVEL_LOG_DIR", "HOME", "XDG_STATE_HOME"):
            del self.env[name]
        self.run_lumo("--version")
        self.assertEqual(self.files(), [])

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

    def test_filter_runs_chains_that_history_gives_back(self):
        self.phantom("a.png")
        commands = ["type=unsharp_mask radius=0.3 value=2", "type=Median_Filter size=5 # five", "type=gauss_fd2 al0=0.5"]
        self.run_lumo("filter", "a.png", "b.png", *commands)
        script = self.run_lumo("history", "b.png", "--script")[0]
        self.assertEqual(script, commands[0] + "\ntype=median_filter size=5\n" + commands[2] + "\n")
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
        with open(os.path.join(self.folder, "t.imo"), "w") as file:
            file.write("# wrong\n\ntype=mean_filter siez=3\n")
        for arguments, status, message in (
            (["type=sharpen"], 2, "lumo filter: type=sharpen: none of "), (["type=mean_filter size=0"], 2, "lumo filter: size=0: outside 1 to"),
            (["--script", "./t.imo"], 2, "./t.imo:3: filter: mean_filter has no key siez; did you mean size="),
            (["--script", "./s.imo"], 1, "a.png: ./s.imo:2: filter: the values do not fit a picture of 64 x 48 pixels"),
            (["--script", "./no.imo"], 1, "./no.imo: cannot be read (No such file or directory)"),
        ):
            self.assertRegex(self.run_lumo("filter", "a.png", "b.png", *arguments, status=status)[1],
                             "^" + re.escape(message) + r"[^\n]*\n$")
        self.run_lumo("filter", "a.png", "b.png", status=2)
        self.assertEqual(self.files(), ["a.png", "s.imo", "t.imo"])
        self.assertRegex(self.run_lumo("filter", "a.png", "b.png", "type=histogramm_equal3")[0],
                         r"^b\.png\n  lower end of the useful range: \d+\n  upper end of the useful range: \d+\n$")

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
        self.assertNotIn("sigma", self.run_lumo("stats", "a.png", "--json", "--limits", "0,0")[0])
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

    @staticmethod
    def again(step, source, target):
        """The command line that a step of the history stands for."""
        patterns = (
            (r"filter (.*)", lambda m: ["filter", source, target, m[1]]),
            (r"calibrate (\S+)(.*)", lambda m: ["calibrate", "apply", m[1], source, target] + m[2].split()),
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
                self.run_lumo("run", "a.png", "c.png", steps[1].removeprefix("Step1: "), "--force")
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

    def write(self, file, text):
        with open(os.path.join(self.folder, file), "w") as stream:
            stream.write(text)

    def test_a_chain_is_its_steps_one_by_one_and_its_recipe_replays(self):
        self.phantom("a.png", size=(120, 90))
        self.phantom("exposure.png", "--detector", "flat.png", size=(120, 90))
        self.run_lumo("calibrate", "create", "flat.png", "my gains.cal")
        steps = ["calibrate 'my gains.cal'", "deflash", "rotate --straighten", "crop --roi 3,4,110,85", "filter type=median_filter size=5",
                 "bin --x 2 --y 2", "mirror --vertical", "window --lo 1000 --hi 60000 --mode sqrt", "equalize --clipped",
                 "rotate --quarter 270", "shear --angle -2", "invert"]
        source = "exposure.png"
        for i, step in enumerate(steps):
            self.run_lumo("run", source, "one%d.png" % i, step)
            source = "one%d.png" % i
        self.run_lumo("run", "exposure.png", "chain.png", *steps)
        recipe = self.run_lumo("history", "--recipe", "chain.png")[0]
        self.assertTrue(recipe.startswith("# the source: phantom --width 120 --height 90 --seed 1 --pitch 100000 --detector flat.png\n"
                                          'calibrate "my gains.cal" --crc '))
        self.write("recipe.txt", recipe + "\n  # end\r\n")
        self.run_lumo("run", "exposure.png", "again.png", "--recipe", "recipe.txt")
        one, chain, again = self.info(source, "chain.png", "again.png")
        for each in (chain, again):
            self.assertEqual({k: v for k, v in each.items() if k != "file"}, {k: v for k, v in one.items() if k != "file"})
        os.makedirs(os.path.join(self.folder, "in"))
        os.rename(os.path.join(self.folder, "exposure.png"), os.path.join(self.folder, "in/b.png"))
        self.run_lumo("run", "--recipe", "recipe.txt", "--batch", "in", "--out", "out", "bin", "invert", "invert")
        self.assertEqual(self.run_lumo("history", "out/b.png")[0].splitlines()[-3:], ["Step13: bin --x 2 --y 2", "Step14: invert", "Step15: invert"])
        self.run_lumo("calibrate", "create", "flat.png", "my gains.cal", "--range", "20,300", "--force")
        err = self.run_lumo("run", "in/b.png", "c.png", "--recipe", "recipe.txt", status=1)[1]
        self.assertRegex(err, r'^recipe\.txt:2: calibrate: "my gains\.cal": another table than the one meant: its CRC-32 is [^\n]+\n$')
        self.assertNotIn("c.png", self.files())

    def test_every_step_is_refused_before_the_first_picture_is_touched(self):
        self.write("wrong.txt", "# a comment\ninvert\nwidow --lo 1\n")
        for arguments, status, message in (
            (["no.png", "b.png", "invert", "bin --x 0"], 2, "lumo run: bin: --x 0: outside 1 to 255\n"),
            (["no.png", "b.png", "--recipe", "wrong.txt"], 2, "wrong.txt:3: there is no step widow; did you mean window?\n"),
            (["no.png", "b.png", "phantom"], 2, "lumo run: phantom: makes a picture, so it is no step of one\n"),
            (["no.png", "b.png"], 2, "lumo run: no step; give some behind the files, or --recipe FILE\n"),
            (["no.png", "b.png", "invert", "calibrate no.cal"], 1, "calibrate: no.cal: No such file or directory\n"),
            (["no.png", "b.png", "--recipe", "no.txt"], 1, "no.txt: cannot be read (No such file or directory)\n"),
        ):
            self.assertEqual(self.run_lumo("run", *arguments, status=status), ("", message))
        self.assertEqual(self.files(), ["wrong.txt"])

    def test_a_history_that_cannot_be_repeated_is_named(self):
        self.phantom("a.png")
        self.run_lumo("convert", "a.png", "b.png", "--set", "PerformedSteps/Step1=polished\x1b[2J by hand",
                      "--set", "PerformedSteps/Step2=LumoRotateImage(angle=90)")
        out, err = self.run_lumo("history", "--recipe", "b.png", status=1)
        self.assertEqual((out, err), ("", "b.png: Step1: polished\\x1B[2J by hand: cannot be repeated (there is no step \"polished\\x1B[2J\")\n"))
        out, err = self.run_lumo("history", "--script", "b.png", status=1)
        self.assertEqual(out, "")
        self.assertEqual([line.split(":")[1] for line in err.splitlines()], [" Step1", " Step2"])
        listed, = json.loads(self.run_lumo("history", "--json", "b.png")[0])
        self.assertEqual([(step["step"], step["repeatable"], step["harmless"]) for step in listed["steps"]][1:],
                         [("", False, False), ("rotate --quarter 90", True, True)])

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
        for arguments, reason in ((["rotate", "dark.png", "c.png", "--straighten"], "rotate: --straighten finds no exposed area with"),
                                  (["crop", "a.png", "c.png", "--roi", "64,0,64,1"], "crop: --roi 64,0,64,1 leaves the picture of"),
                                  (["profile", "a.png", "--axis", "x", "--roi", "0,0,1,-1"], "--roi 0,0,1,-1 leaves the image of"),
                                  (["bin", "a.png", "c.png", "--x", "65"], "bin: the picture of 64 x 48 pixels is smaller than one block")):
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
                         "Step0: filter type=unsharp_mask radius=0.5 value=2\nStep1: rotate --quarter 90\n")

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
        step = "calibrate a.cal --crc %08x" % zlib.crc32(self.read("a.cal"))
        self.assertEqual(json.loads(out), [{"file": "b.png", "steps": [{
            "step": step, "corrected": 200, "beyondTable": 0, "atLowestGain": 1, "atHighestGain": 1, "clamped": clamped}]}])
        self.assertEqual(err, "")
        self.assertTrue(self.raster("b.png")[2] == [min(v, 65535) for v in products])
        self.assertRegex(self.run_lumo("calibrate", "apply", "./a.cal", "b.png", "c.png")[1], "^b.png: warning: already")
        os.mkdir(os.path.join(self.folder, "many"))
        self.write_raster("many/a.xyz", width, height, image)
        many = self.run_lumo("calibrate", "apply", "a.cal", "--batch", "many", "--out", "out", "--json", "--format", "png")[0]
        self.assertEqual(json.loads(many), [{**json.loads(out)[0], "file": "out/a.png"}])
        self.write_raster("wide.xyz", 25, 10, [1] * 250)
        wide = ["calibrate", "apply", "a.cal", "wide.xyz", "d.png"]
        self.assertEqual(self.run_lumo(*wide, status=1)[1], "wide.xyz: calibrate: a.cal: a table of 20 x 10 pixels does not fit the "
                         "picture of 25 x 10 pixels; --partial corrects what it covers\n")
        self.assertIn("beyond the table: 50\n", self.run_lumo(*wide, "--partial")[0])
        # A rounding before a cut makes the highest gain's code 65534 here.
        self.assertIn("at the highest gain: 1\n", self.run_lumo("calibrate", "create", "ref.xyz", "b.cal", "--range", "15,200")[0])
        self.assertEqual(max(struct.unpack("<200H", self.read("b.cal")[20:])), 65534)
        self.assertIn("at the highest gain: 1\n", self.run_lumo("calibrate", "apply", "b.cal", "a.xyz", "f.png")[0])
        os.truncate(os.path.join(self.folder, "b.cal"), 99)
        for table, reason in (("no.cal", "No such file"), ("b.cal", "cut short"), ("many", "a folder, a pipe or a device")):
            self.assertRegex(self.run_lumo("calibrate", "apply", table, "a.xyz", "e.png", status=1)[1], "^calibrate: %s: %s" % (table, reason))
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

    def batch(self, *arguments, status=0, **options):
        return self.run_lumo("filter", "--batch", *arguments, "--out", "out", "type=mean_filter", status=status, **options)

    def below(self, folder):
        found = [os.path.join(path, file) for path, _, files in os.walk(os.path.join(self.folder, folder)) for file in files]
        return sorted(os.path.relpath(file, self.folder) for file in found)

    def test_batch_takes_every_file_once(self):
        for folder in ("in/sub/deep", "in/out", "two/in", "none"):
            os.makedirs(os.path.join(self.folder, folder))
        for file in ("in/a.png", "in/sub/a.PNG", "in/sub/deep/a.xyz", "in/sub/b.Raw", "two/in/a.png"):
            self.phantom(file, size=(9, 8))
        for link, target in (("in/sub/loop", ".."), ("in/gone.png", "nowhere"), ("in/link.png", "a.png")):
            os.symlink(target, os.path.join(self.folder, link))
        for name, text in (("in/bad.png", "?"), ("in/notes.txt", "?"), ("in/a.jpg", "?")):
            with open(os.path.join(self.folder, name), "w") as file:
                file.write(text)
        results = ["out/a.png", "out/link.png", "out/sub/a.PNG", "out/sub/b.Raw", "out/sub/b.txt", "out/sub/deep/a.txt",
                   "out/sub/deep/a.xyz"]
        err = self.batch("in", status=1)[1]
        self.assertRegex(err, r"\nin/gone\.png: [^\n]+\nin/bad\.png: -50 [^\n]+\n$")
        self.assertNotIn("\r", err)
        self.assertEqual(self.below("out"), results)
        self.assertEqual(self.run_lumo("history", "out/sub/a.PNG")[0].splitlines()[-1], "Step1: filter type=mean_filter")
        self.assertEqual(self.batch("in", status=1)[1].count("exists already"), 5)
        for _ in range(2):  # an output inside the input does not feed itself
            self.run_lumo("filter", "--batch", "in", "--out", "in/out", "--force", "type=mean_filter", status=1)
        self.assertEqual(self.below("in/out"), ["in/" + file for file in results])
        os.unlink(os.path.join(self.folder, "in/bad.png"))
        self.assertIn("already the result of", self.batch("in", "two/in", "--force", status=1)[1])
        self.assertEqual(self.batch("none", status=1)[1], "no image file in the folders\n")
        self.assertRegex(self.batch("nosuch", status=1)[1], "^nosuch: [^\n]+\n$")

    def test_batch_shows_how_far_it_is_on_a_terminal(self):
        os.mkdir(os.path.join(self.folder, "in"))
        for file in ("in/a.png", "in/b.png"):
            self.phantom(file)
        terminal, end = pty.openpty()
        process = subprocess.Popen([LUMO, "filter", "--batch", "in", "--out", "out", "type=mean_filter"], cwd=self.folder,
                                   env=self.env, stderr=end)
        self.assertEqual(process.wait(), 0)
        os.close(end)
        shown = b""
        try:
            while part := os.read(terminal, 4096):
                shown += part
        except OSError:  # how a terminal ends that nobody writes to any more
            os.close(terminal)
        self.assertRegex(shown.decode(), r"\] 0 of 2\r.*\] 1 of 2\r.*\[#+\] 2 of 2\r?\n$")

    def test_an_interrupted_batch_leaves_whole_files_only(self):
        os.mkdir(os.path.join(self.folder, "in"))
        self.phantom("in/0.xyz", size=(1500, 1000))
        for i in range(1, 30):
            for end in ("xyz", "txt"):
                os.link(os.path.join(self.folder, "in/0." + end), os.path.join(self.folder, "in/%d.%s" % (i, end)))
        process = self.start("filter", "--batch", "in", "--out", "out", "type=gauss_fd2")
        while len(self.below("out")) < 8 and process.poll() is None:
            time.sleep(0.01)
        process.send_signal(signal.SIGTERM)
        process.communicate()
        self.assertEqual(process.returncode, -signal.SIGTERM)
        made = self.below("out")
        self.assertEqual(sum(os.path.isdir(os.path.join(self.folder, "out", name))
                             for name in os.listdir(os.path.join(self.folder, "out"))), 0)
        self.assertEqual(len(made) % 2, 0)
        self.assertEqual(len(self.info(*(file for file in made if file.endswith("xyz")))), len(made) // 2)

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
