"""The program `lumo` run as a user does: what all tests of it share.

Each test file is run with the program as its first argument."""
import json, os, struct, subprocess, sys, tempfile, time, unittest

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
        usual = {"cwd": self.folder, "env": self.env, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
        return subprocess.Popen([LUMO, *arguments], **{**usual, **options})

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

    def below(self, folder):
        found = [os.path.join(path, file) for path, _, files in os.walk(os.path.join(self.folder, folder)) for file in files]
        return sorted(os.path.relpath(file, self.folder) for file in found)

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

    def until(self, condition):
        """What the condition gives once that is something."""
        end = time.monotonic() + 60
        while time.monotonic() < end:
            if found := condition():
                return found
            time.sleep(0.002)
        self.fail("waited for nothing")
