"""Chains of steps, recipes, and what a history says of them."""
import json, os, unittest

from program import Program


class Steps(Program):
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

    def test_lengths_are_those_of_the_pitch_that_is_given(self):
        self.phantom("a.png")
        self.phantom("coarse.png", "--pitch", "200000")
        mask = "type=unsharp_mask2 radius=0.4"
        self.run_lumo("filter", "a.png", "b.png", mask, "--pitch", "200000")
        self.run_lumo("run", "a.png", "c.png", "filter " + mask, "--pitch", "200000")
        self.run_lumo("filter", "coarse.png", "d.png", mask)
        b, c, d = self.info("b.png", "c.png", "d.png")
        self.assertEqual((b["width"], b["pixelsizeX"]), (d["width"], 200000))
        self.assertEqual((b["pixels"], c["pixels"]), (c["pixels"], d["pixels"]))

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


if __name__ == "__main__":
    unittest.main()
