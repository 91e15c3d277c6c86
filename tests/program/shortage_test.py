"""Every verb while one allocation after another fails: right output, or exit 1 and a message."""
import os, sys, unittest

SHIM = os.path.abspath(sys.argv.pop(2))

from program import Program

# Of each verb: its command line, and the files that it writes. The band filter is left out: its
# transform ends the process when memory is short.
LINES = (
    ("info a.png", []), ("info a.png b.xyz --json", []), ("history a.png --json", []), ("stats a.png --roi 0,0,3,3 --json", []),
    ("dose a.png", []), ("histogram a.png --bins 8 --json", []), ("profile a.png --roi 0,0,9,9 --axis x", []),
    ("convert a.png o.xyz --set Image/Author=x --pitch 120000", ["o.xyz", "o.txt"]), ("convert b.xyz o.png", ["o.png"]),
    ("filter a.png o.png type=median_filter type=unsharp_mask", ["o.png"]), ("rotate a.png o.png --quarter 90", ["o.png"]),
    ("rotate a.png o.png --angle 3", ["o.png"]), ("mirror a.png o.png --vertical", ["o.png"]), ("shear a.png o.png --angle 3", ["o.png"]),
    ("calibrate create a.png o.cal --json", ["o.cal"]), ("calibrate apply c.cal a.png o.png", ["o.png"]),
    ("preview a.png o.png", ["o.png"]), ("sheet a.png b.xyz o.png --width 32", ["o.png"]), ("phantom o.png --width 9 --height 9", ["o.png"]),
    ("window a.png o.png --limits 100,100", ["o.png"]), ("equalize a.png o.png", ["o.png"]), ("invert a.png o.png", ["o.png"]),
    ("crop a.png o.png --roi 1,1,9,9", ["o.png"]), ("bin a.png o.png --x 2", ["o.png"]), ("deflash a.png o.png", ["o.png"]),
    ("filter --batch in --out out -j 1 type=mean_filter", ["out/a.png"]),
)
POINTS = int(os.environ.get("LUMO_SHORTAGE_POINTS", "24"))  # of failure, a verb


class Shortage(Program):
    def outcome(self, line, results, failing):
        """Exit status, what was printed, what was written, and how many allocations it took."""
        environment = {**self.env, "LD_PRELOAD": SHIM, "FAILING_MALLOC": str(failing)}
        ends = os.pipe()
        environment["MALLOC_COUNT"] = str(ends[1])
        process = self.start(*line.split(), env=environment, pass_fds=[ends[1]])
        os.close(ends[1])
        out, err = process.communicate()
        with os.fdopen(ends[0]) as count:
            allocations = count.read()
        written = []
        for file in results:
            path = os.path.join(self.folder, file)
            if os.path.exists(path):
                written.append(self.read(file))
                os.unlink(path)
        return process.returncode, out, written, err, int(allocations or 0)

    def test_every_verb(self):
        os.mkdir(os.path.join(self.folder, "in"))
        for file in ("a.png", "b.xyz", "in/a.png"):
            self.phantom(file, size=(24, 16))
        self.run_lumo("calibrate", "create", "a.png", "c.cal")
        before = self.files() + ["out"]
        for line, results in LINES:
            status, out, written, err, allocations = self.outcome(line, results, -1)
            self.assertEqual((status, len(written)), (0, len(results)), (line, err))
            self.assertGreater(allocations, 100)
            step = max(1, allocations // POINTS)
            for failing in range(sum(line.encode()) % step, allocations, step):
                with self.subTest(line, failing=failing):
                    short_status, short_out, short_written, short_err, _ = self.outcome(line, results, failing)
                    sizes = [len(data) for data in short_written]
                    if short_status == 0:
                        self.assertEqual((short_out, sizes), (out, [len(data) for data in written]))
                    else:
                        self.assertEqual(short_status, 1, short_err)
                        self.assertNotEqual(short_err, b"")
                        self.assertIn(sizes, ([], [len(data) for data in written]))
                    self.assertTrue(set(self.files()) <= set(before), self.files())


if __name__ == "__main__":
    unittest.main()
