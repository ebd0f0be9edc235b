"""What reaches a collector, packed on its way to a file that is kept only if somebody wants it."""
import os
import subprocess

from unit import PATIENCE_SECONDS, Fault


class TrafficRecording:
    """The collector writes into a pipe, so that nothing but the packed file takes room."""

    def __init__(self, folder, file):
        self.pipe = folder / "recording"
        self.file = file
        os.mkfifo(self.pipe)
        try:
            self.packer = subprocess.Popen(["sh", "-c", 'exec zstd -q -f -1 -o "$1" <"$0"', self.pipe, file])
        except OSError as error:
            raise Fault(f"the recording cannot be packed: {error}") from error

    def options(self):
        """What makes a collector record."""
        return ["--record", self.pipe]

    def finish(self, keep):
        """When the collector is gone. Gives the path of the file if it was kept."""
        try:
            self.packer.wait(PATIENCE_SECONDS)
        except subprocess.TimeoutExpired:  # it waits for a collector that never came
            self.packer.kill()
            self.packer.wait()
        if keep and os.path.exists(self.file):
            return self.file
        if os.path.exists(self.file):
            os.remove(self.file)
        return None
