"""Whole folders: which files, in which order, what stays after an interrupt."""
import glob, os, pty, signal, subprocess, time, unittest

from program import LUMO, Program


class Batch(Program):
    def batch(self, *arguments, status=0, **options):
        return self.run_lumo("filter", "--batch", *arguments, "--out", "out", "type=mean_filter", status=status, **options)

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
        self.assertRegex(err, r"^out/sub/b\.Raw: note: [^\n]+ \(and 1 more\)\nin/gone\.png: [^\n]+\n"
                              r"in/bad\.png: -50 [^\n]+\n5 done, 2 failed\n$")
        self.assertNotIn("\r", err)
        self.assertEqual(self.below("out"), results)
        self.assertEqual(self.run_lumo("history", "out/sub/a.PNG")[0].splitlines()[-1], "Step1: filter type=mean_filter")
        self.assertEqual(self.batch("in", status=1)[1].count("exists already"), 5)
        for _ in range(2):  # an output inside the input does not feed itself
            self.run_lumo("filter", "--batch", "in", "--out", "in/out", "--force", "type=mean_filter", status=1)
        self.assertEqual(self.below("in/out"), ["in/" + file for file in results])
        os.unlink(os.path.join(self.folder, "in/bad.png"))
        self.assertIn("already the result of", self.batch("in", "two/in", "--force", status=1)[1])
        self.assertEqual(self.batch("none", status=1)[1], "no image file to work on\n0 done, 1 failed\n")
        self.assertRegex(self.batch("nosuch", status=1)[1], "^nosuch: [^\n]+\n0 done, 1 failed\n$")

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
        self.assertRegex(shown.decode(), r"\] 0 of 2\r.*\] 1 of 2\r.*\[#+\] 2 of 2\r?\n2 done, 0 failed\r?\n$")

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

    def copies(self, file, count, *options, size=(64, 48)):
        self.phantom(file % 0, *options, size=size)
        for i in range(1, count):
            os.link(os.path.join(self.folder, file % 0), os.path.join(self.folder, file % i))

    def test_side_by_side_gives_what_one_by_one_gives(self):
        os.mkdir(os.path.join(self.folder, "in"))
        self.copies("in/%02d.png", 9)
        for name in ("bad.png", "05b.png"):
            with open(os.path.join(self.folder, "in", name), "w") as file:
                file.write("?")
        said = set()
        for jobs in ("1", "2", "7"):
            out, err = self.run_lumo("filter", "--batch", "in", "--out", jobs, "-j", jobs, "--format", "xyz", "type=histogramm_equal3", status=1)
            self.assertEqual(out.count("[return]"), 9)
            self.assertEqual([line[2:] for line in out.splitlines() if line[0] == ";"], ["in/%02d.png" % i for i in range(9)])
            said.add((out, err.replace(jobs + "/00.xyz", "00.xyz")))
        self.assertEqual(len(said), 1)
        self.assertRegex(err, r"^7/00\.xyz: note: [^\n]+ \(and 8 more\)\nin/05b[^\n]+\nin/bad[^\n]+\n9 done, 2 failed\n$")
        self.assertEqual({self.read(file) for file in self.below("1")}, {self.read(file) for file in self.below("7")})

    def test_what_a_batch_leaves_out(self):
        os.mkdir(os.path.join(self.folder, "in"))
        self.copies("in/%d.png", 3)
        self.assertEqual(self.batch("in", "--dry-run")[0], "".join("in/%d.png -> out/%d.png\n" % (i, i) for i in range(3)))
        self.assertEqual(self.below("out"), [])
        lines = os.path.join(self.folder, "lines")
        with open(lines, "w") as file:
            file.write("in/1.png\n\n%s\n" % os.path.join(self.folder, "in/2.png"))
        arguments = ["filter", "--files-from", "lines", "--out", "out", "type=mean_filter"]
        self.assertEqual(self.run_lumo(*arguments)[1], "2 done, 0 failed\n")
        self.assertEqual(self.below("out"), ["out/2.png", "out/in/1.png"])
        with open(lines) as file:
            self.assertEqual(self.run_lumo(*(a.replace("lines", "-") for a in arguments), "--skip-existing", stdin=file)[1],
                             "0 done, 0 failed, 2 skipped\n")
        self.assertIn("(exists already)", self.run_lumo(*arguments, "--dry-run")[0])
        self.assertEqual(self.batch("in", "--skip-existing")[1], "2 done, 0 failed, 1 skipped\n")
        self.assertEqual(self.batch("in", "--force", "--quiet")[1], "")

    def test_a_file_that_kills_its_worker_costs_that_file_alone(self):
        os.mkdir(os.path.join(self.folder, "in"))
        self.phantom("in/1.xyz", size=(2000, 2000))
        self.phantom("in/2.xyz")
        process = self.start("filter", "--batch", "in", "--out", "out", "-j", "1", "type=gauss_fd2")
        worker = self.until(lambda: self.child_in(process.pid, "out"))
        os.kill(worker, signal.SIGKILL)
        err = process.communicate()[1].decode()
        self.assertEqual(process.returncode, 1)
        self.assertRegex(err, r"\nin/1\.xyz: its worker ended early \(Killed\)\n1 done, 1 failed\n$")
        self.assertEqual(sorted(os.listdir(os.path.join(self.folder, "out"))), ["2.txt", "2.xyz"])

    def child_in(self, parent, folder):
        """The parent's child once it has begun to write into the folder."""
        if not glob.glob(os.path.join(self.folder, folder, ".lumo-*")):
            return None
        with open("/proc/%d/task/%d/children" % (parent, parent)) as children:
            return int(children.read().split()[0])



if __name__ == "__main__":
    unittest.main()
