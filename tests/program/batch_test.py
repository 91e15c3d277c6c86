"""Whole folders: which files, in which order, what stays after an interrupt."""
import os, pty, signal, subprocess, time, unittest

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


if __name__ == "__main__":
    unittest.main()
