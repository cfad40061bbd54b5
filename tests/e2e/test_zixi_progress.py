"""The progress of a running Zixi upload."""

import pytest

from harness import client, feeder, wire
from harness.feeder import FOLDER, make_file, samples
from harness.waiting import wait_until

MB = 1000000
GB = 1000 * MB
TRUE = 1  # so that a second is long beside what a busy machine makes a thread wait


@pytest.fixture
def uploaded(feed, jobs, local):
    """A function that starts the daemon and runs an upload of this size; returns the notice."""

    def upload(size, **knobs):
        feed(**knobs)
        notice = jobs.zixi_upload(make_file(local / "a", size), "a")
        assert notice.outcome == (0, 0)
        return notice

    return upload


def milliseconds(sample, bits):
    """The interval from which this speed was calculated."""
    return bits / sample.speed_kbits_s


def test_each_second_has_its_line(uploaded, log):
    """Only the first line has a true speed; later ones have the missing bytes, negative."""
    size = 9 * MB
    notice = uploaded(size, rate=MB, speed=TRUE)
    seen = samples(log)
    first, *middle, last = seen
    assert len(seen) >= 3
    # A late pass makes an interval longer, but never shorter.
    first_sent = (first.sent_mb * MB, (first.sent_mb + 1) * MB)
    assert 999 <= milliseconds(first, first_sent[1] * 8)
    assert milliseconds(first, first_sent[0] * 8) <= notice.exec_info.elapsed_time * 1000
    assert first.remaining_minutes == 0
    assert middle
    for sample in middle:
        lacking_at_most = size - sample.sent_mb * MB
        assert 999 <= milliseconds(sample, -lacking_at_most * 8)
        assert sample.remaining_minutes == -1
    assert [sample.total_mb for sample in seen] == [9] * len(seen)
    for sample in seen:
        sent = sample.sent_mb * MB
        assert sent * 100 // size <= sample.percent <= (sent + MB) * 100 // size
    assert [sample.sent_mb for sample in seen] == sorted(sample.sent_mb for sample in seen)
    assert last == (100, 9, 9, 0, 0, -1)
    assert log.texts[-2:] == [
        "zixi_func(731): Uploaded: 100% 9MB/9MB Speed: 0.  0Mbps elapsed:0[m] / remain:-1[m]\n",
        feeder.DONE,
    ]
    assert len(seen) <= notice.exec_info.elapsed_time < 60


def test_an_empty_file_has_no_total(uploaded, log):
    notice = uploaded(0)
    assert samples(log) == [(0, 0, 0, 0, 0, -1)]
    assert notice.exec_info[:2] == (0, 0)
    assert feeder.stored() == {"a": b""}


@pytest.mark.parametrize("total", [(4 << 30) - 1, 4 << 30, 6 * GB, 1500 * GB])
def test_sizes_above_4_gib_are_exact(uploaded, log, total):
    notice = uploaded(90000, rate=10000, total=total, speed=TRUE)
    assert notice.exec_info[:2] == (total, total)
    seen = samples(log)
    assert len(seen) >= 2
    for sample in seen:
        assert sample.total_mb == total // MB
        assert abs(sample.percent - sample.sent_mb * 100 * MB / total) <= 1
    assert seen[-1] == (100, total // MB, total // MB, 0, 0, -1)
    assert seen[0].speed_kbits_s > 0 > seen[1].speed_kbits_s
    assert len(feeder.stored()["a"]) == 90000


def test_command_3_follows_the_upload_whose_file_gets_its_name_when_complete(feed, network_manager, local):
    feed(rate=100000, speed=TRUE)
    make_file(local / "a", MB)
    assert feeder.upload(local / "a", "d/a") == (0, 0)
    state = client.state()
    assert (state.result, state.detail, state.running, state.kind) == (0, 0, 1, 2)
    wait_until(lambda: client.state().exec_info.transferred_size > 0, "progress")
    assert not (FOLDER / "d" / "a").exists()
    states = []
    while (state := client.state()).running:
        states.append(state)
    states.append(state)
    assert len(states) > 3
    for before, after in zip(states, states[1:]):
        assert before.exec_info.transferred_size <= after.exec_info.transferred_size
        assert before.exec_info.elapsed_time <= after.exec_info.elapsed_time
    for state in states:
        assert (state.kind, state.job_result, state.cancel) == (2, 0, 0)
        assert state.exec_info.total_size == MB
        assert 0 < state.exec_info.transferred_size <= MB
        assert state.exec_info[3:] == (0, 0, 3, 0, 0)
    # Command 3 still returns what the notice said.
    notice = network_manager.wait_for(wire.NOTICE_UPLOAD)
    assert client.state().exec_info == notice.exec_info == states[-1].exec_info
    assert feeder.stored() == {"d/a": (local / "a").read_bytes()}
