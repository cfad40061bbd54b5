"""Runs jobs from their start to their notice."""

from . import client, feeder, wire


class Jobs:
    """Each function starts a job, which the daemon must accept, and returns its notice."""

    def __init__(self, network_manager):
        self._network_manager = network_manager

    def download(self, remote_path, local_path, **fields):
        return self._run(wire.NOTICE_DOWNLOAD, client.download, remote_path, local_path, **fields)

    def upload(self, local_path, remote_path, **fields):
        return self._run(wire.NOTICE_UPLOAD, client.upload, local_path, remote_path, **fields)

    def file_info(self, remote_path, **fields):
        return self._run(wire.NOTICE_FILE_INFO, client.file_info, remote_path, **fields)

    def zixi_upload(self, local_path, remote_path, **fields):
        return self._run(wire.NOTICE_UPLOAD, feeder.upload, local_path, remote_path, **fields)

    def zixi_file_info(self, **fields):
        return self._run(wire.NOTICE_FILE_INFO, feeder.file_info, **fields)

    def each(self, folder, content=b"content", **fields):
        """A download of "a", an upload of "b" with this content and a look-up of "a"; local files are in the folder."""
        (folder / "b").write_bytes(content)
        yield self.download("a", folder / "a", **fields)
        yield self.upload(folder / "b", "b", **fields)
        yield self.file_info("a", **fields)

    def _run(self, code, start, *arguments, **fields):
        before = len(self._network_manager.of_code(code))
        assert start(*arguments, **fields) == (0, 0), (arguments, fields)
        return self._network_manager.wait_for(code, before + 1)
