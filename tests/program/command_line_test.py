"""Wrong command lines, lost output, the log."""
import os, re, shlex, subprocess, unittest

from program import Program


class CommandLine(Program):
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
            ["profile", "in.png", "--roi", "0,0,1,1"], ["profile", "in.png", "--roi", "0,0,1,1", "--axis", "z"],
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
            (["nosuch", "in.png"], "lumo: there is no verb nosuch; lumo help lists them\n"), (["--heelp"], "lumo: not expected: --heelp\nlumo: did you mean --help?\n"),
            (["invrt", "in.png"], "lumo: there is no verb invrt; did you mean invert?\n"), (["equa"], "lumo: there is no verb equa; did you mean equalize?\n"),
            (["help", "profil"], "lumo: there is no verb profil; did you mean profile?\n"), (["stats", "in.png", "--csx"], "lumo stats: not expected: --csx\nlumo stats: did you mean --csv?\n"),
            (["window", "in.png", "a.png", "--limtis=1,1"], "lumo window: not expected: --limtis=1,1\nlumo window: did you mean --limits?\n"),
            ([], "lumo VERB IN OUT [options]: "), (["calibrate", "apply"], "lumo calibrate apply: CAL is required\n"),
            (["crop", "in.png", "a.png", "--roi", "1", "2", "3"], "lumo crop: not expected: 2 3\n"),
            (["convert", "", "a.png"], "lumo: argument 2 is empty\n"), (["stats", "in.png", "--limits", ""], "lumo: argument 4 is empty\n"),
        ):
            self.assertTrue(self.run_lumo(*arguments, status=2)[1].startswith(reason), arguments)
        for question in (["--help"], ["--version"], ["convert", "--help"]):
            self.assertEqual(self.run_lumo(*question)[1], "")
        self.assertEqual(self.run_lumo("help"), self.run_lumo("--help"))
        self.assertEqual(self.run_lumo("help", "calibrate", "apply"), self.run_lumo("calibrate", "apply", "--help"))

    def test_the_examples_of_every_help_parse(self):
        verbs = re.findall(r"^  (\w+)  ", self.run_lumo("help")[0].split("Subcommands:")[1], re.MULTILINE)
        self.assertGreater(len(verbs), 20)
        for verb in verbs:
            examples = self.run_lumo("help", verb)[0].split("Examples:\n")[1].splitlines()
            self.assertGreater(len(examples), 0)
            for example in examples:
                self.assertTrue(example.startswith("  lumo %s " % verb), example)
                words = shlex.split(re.sub(r" [<>] \S+", "", example))[1:]
                process = self.start(*words, stdin=subprocess.DEVNULL)
                process.communicate()
                self.assertNotEqual(process.returncode, 2, example)

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

    def test_the_log_is_short(self):
        log = os.path.join(self.home.name, ".local/state/lumo/orvellog.log")

        def lines():
            with open(log) as file:
                return file.read().splitlines()

        self.phantom("a.png")
        self.run_lumo("info", "no.png", status=1)
        self.assertTrue(all(int(line.split()[2]) <= 5 for line in lines()), lines())
        self.assertTrue(any(" 3 " in line for line in lines()))
        self.env["ORVEL_LOG_LEVEL"] = "8"
        self.run_lumo("info", "a.png")
        self.assertTrue(any(" 7 LumoReadImage" in line for line in lines()))
        with open(log, "a") as file:
            file.write("old\n" * 1000000 + "last\n")
        self.run_lumo("info", "a.png")
        kept = [os.path.join(os.path.dirname(log), name) for name in os.listdir(os.path.dirname(log))]
        self.assertLess(sum(os.path.getsize(file) for file in kept), 8 << 20)
        self.assertIn(" 7 LumoReadImage", "".join(lines()))
        with open(log + ".old") as file:
            self.assertTrue(file.read().endswith("last\n"))


if __name__ == "__main__":
    unittest.main()
