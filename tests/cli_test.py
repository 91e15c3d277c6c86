#!/usr/bin/env python3
"""Runs the program `lumo` as a user does: outputs, exit statuses, and what lies in the folder after."""
import json, os, resource, signal, subprocess, sys, tempfile, time, unittest

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
            ["phantom", "a.png", "--width", "0"], ["phantom", "a.png", "--seed", "-1"],
            ["preview", "in.png", "a.jpg"], ["preview", "in.png", "a.png", "--width", "0"],
        ):
            out, err = self.run_lumo(*arguments, status=2)
            self.assertEqual((out, self.files()), ("", ["in.png"]), arguments)
            self.assertTrue(err.startswith(("lumo", "a", "x.d/a", "--set")), err)
        for question in (["--help"], ["--version"], ["convert", "--help"]):
            self.assertEqual(self.run_lumo(*question)[1], "")

    def test_failures_are_one_line_each_and_the_others_go_on(self):
        self.phantom("in.png")
        self.phantom("cut.xyz")
        os.truncate(os.path.join(self.folder, "cut.xyz"), 100)
        out, err = self.run_lumo("info", "no\n.png", "in.png", "cut.xyz", "--json", status=1)
        self.assertEqual([image["file"] for image in json.loads(out)], ["in.png"])
        self.assertRegex(err, r"^no\\x0A\.png: -1 [^\n]+\ncut\.xyz: -50 [^\n]+\n$")
        self.assertRegex(self.run_lumo("convert", "in.png", "no/a.png", status=1)[1], r"^no/a\.png: -16 [^\n]+\n$")

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
                          ["convert", "a.png", "b.txt"], ["preview", "a.png", "a.png"]):
            self.assertRegex(self.run_lumo(*arguments, status=1)[1], r"^[ab]\.\w+: exists already")
        self.assertEqual({file: self.read(file) for file in self.files()}, before)
        self.phantom("b.xyz", "--force", size=(9, 5))
        self.run_lumo("convert", "b.xyz", "b.xyz", "--force")
        self.assertEqual(self.info("b.xyz")[0]["width"], 9)
        os.mkdir(os.path.join(self.folder, "d.png"))
        self.run_lumo("convert", "a.png", "d.png", "--force", status=1)

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
        self.assertEqual((picture["width"], picture["pixels"]["maximum"] > 250 * 256), (64, True))


if __name__ == "__main__":
    unittest.main()
