"""What a power cut leaves of logged changes to files."""

def read_log(path):
    """The logged changes: name, path, target and bytes."""
    data, at, changes = path.read_bytes(), 0, []
    while at < len(data):
        end = data.index(b"\n", at)
        name, file, target, size = data[at:end].decode().split("\t")
        changes.append((name, file, target, data[end + 1:end + 1 + int(size)]))
        at = end + 1 + int(size)
    return changes


class Disk:
    """A folder after a power cut: changes of names as far as they came, contents as synced.

    `unsynced` tells what is left of a content that was never synced: nothing, half or all."""

    def __init__(self, earlier, folder, unsynced):
        self.folder, self.unsynced = str(folder), unsynced
        self.files = {str(folder / p.relative_to(earlier)): p.read_bytes()
                      for p in earlier.rglob("*") if p.is_file()}
        self.folders = {str(folder)} | {str(folder / p.relative_to(earlier))
                                        for p in earlier.rglob("*") if p.is_dir()}
        self.pending = {}

    def apply(self, name, path, target, content):
        if name == "create":
            self.files.setdefault(path, b"")
        elif name in ("truncate", "ftruncate"):
            self.files[path] = b""
            self.pending[path] = 0
        elif name == "write":
            self.pending.setdefault(path, len(self.files.get(path, b"")))
            self.files[path] = self.files.get(path, b"") + content
        elif name == "fsync":
            self.pending.pop(path, None)
        elif name == "rename":
            self.files[target] = self.files.pop(path, b"")
            self.pending.pop(target, None)
            if path in self.pending:
                self.pending[target] = self.pending.pop(path)
        elif name in ("unlink", "remove"):
            self.files.pop(path, None)
            self.pending.pop(path, None)
            self.folders.discard(path)
        elif name == "mkdir":
            self.folders.add(path)

    def seen(self):
        """The files as they are after the cut."""
        files = dict(self.files)
        for path, synced in self.pending.items():
            if path in files:
                fresh = len(files[path]) - synced
                left = {"nothing": 0, "half": fresh // 2, "all": fresh}[self.unsynced]
                files[path] = files[path][:synced + left]
        return files
