"""The tavn package against libtavn.so and the engine named by
TAVN_TEST_ENGINE: "scripted" (the test engine's default script: one piece of
1600 sound bytes, one empty sentence) or "speech" (real speech)."""
import os
import pathlib
import re
import subprocess
import sys
import threading

import pytest

import tavn

ENGINE = os.environ.get("TAVN_TEST_ENGINE", "scripted")
SOURCE = pathlib.Path(__file__).resolve().parents[2]
speech_only = pytest.mark.skipif(ENGINE != "speech", reason="needs the speech engine")


@pytest.fixture(autouse=True)
def in_tmp(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)  # the library's log and the audio go here


def is_wave(path):
    with open(path, "rb") as f:
        data = f.read()
    return data[:4] == b"RIFF" and data[8:12] == b"WAVE" and len(data) > 1000


@pytest.mark.parametrize("text, out, is_file", [
    ("Hello.", "a.wav", False),
    (b"Hello.", b"b.wav", False),
    ("Gr\u00fc\u00dfe. \u4f60\u597d\u3002", pathlib.Path("c.wav"), False),
    ("in.txt", "d.wav", True),
])
def test_synth_writes_a_wave_file(text, out, is_file):
    pathlib.Path("in.txt").write_text("Spoken from a file.", encoding="utf-8")
    tavn.synth(text, out, is_file=is_file, conn1="", conn2=b"", params=None)
    assert is_wave(out)


@pytest.mark.parametrize("call, code, name", [
    (lambda: tavn.synth("", "a.wav"), 0x80650006, "TAVN_ERR_EMPTY_INPUT"),
    (lambda: tavn.synth("Hi.", b""), 0x80650006, "TAVN_ERR_EMPTY_INPUT"),
    (lambda: tavn.synth("Hi.", "no/such/dir/a.wav"), 0x80650301, "TAVN_ERR_OPEN_FILE"),
    (lambda: tavn.synth_with_timings("missing.txt", "a.wav", is_file=True), 0x80650301, "TAVN_ERR_OPEN_FILE"),
    pytest.param(lambda: tavn.synth("Hi.", "a.wav", params="voice=xx-none"), 0x80660006,
                 "ENGINE_ERR_UNKNOWN_VOICE", marks=speech_only),
    pytest.param(lambda: tavn.synth_with_timings("Hi.", "a.wav", params="5=99"), 0x80660008,
                 "ENGINE_ERR_FORMAT_REFUSED", marks=speech_only),
    # The speech engine reads conn1 as a speech server's address.
    pytest.param(lambda: tavn.synth("Hi.", "a.wav", conn1="no-server"), 0x80660007,
                 "ENGINE_ERR_BAD_VALUE", marks=speech_only),
])
def test_failures_raise_tavn_error(call, code, name):
    with pytest.raises(tavn.TavnError) as info:
        call()
    assert (info.value.code, info.value.name) == (code, name)
    assert str(info.value) == f"0x{code:08x} {name}"


@pytest.mark.parametrize("args, error", [
    ((None, "a.wav"), TypeError), ((12, "a.wav"), TypeError), (("a\0b", "a.wav"), ValueError),
])
def test_bad_arguments_are_refused_before_the_library(args, error):
    with pytest.raises(error):
        tavn.synth(*args)


def test_timings_of_the_scripted_engine():
    if ENGINE != "scripted":
        pytest.skip("the scripted engine's fixed script")
    assert tavn.synth_with_timings("One. Two.", "a.wav", media_url="http://h/a.wav") == [tavn.Sentence(0.0, "")]


@speech_only
@pytest.mark.parametrize("text, params, sentences", [
    ("One. Two words here! Three?", None, ["One.", "Two words here!", "Three?"]),
    (b"Say \"quoted\" words.\nThen more.", "5=12", ["Say \"quoted\" words.", "Then more."]),
    ("\u4eca\u5929\u5929\u6c14\u5f88\u597d\u3002\u6211\u4eec\u53bb\u516c\u56ed\u5427\uff01", "voice=cmn",
     ["\u4eca\u5929\u5929\u6c14\u5f88\u597d\u3002", "\u6211\u4eec\u53bb\u516c\u56ed\u5427\uff01"]),
])
def test_timings_follow_the_sentences(text, params, sentences):
    got = tavn.synth_with_timings(text, "a.wav", params=params)
    assert [s.text for s in got] == sentences
    starts = [s.start for s in got]
    assert starts[0] == 0.0
    assert all(b > a + 0.3 for a, b in zip(starts, starts[1:])), starts


@speech_only
def test_threads_speak_at_once():
    errors = []

    def speak(k):
        try:
            got = tavn.synth_with_timings(f"Thread {k} speaks. Then stops.", f"t{k}.wav")
            assert len(got) == 2
        except Exception as e:  # noqa: BLE001 - reported below
            errors.append(e)

    threads = [threading.Thread(target=speak, args=(k,)) for k in range(4)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert errors == []
    assert all(is_wave(f"t{k}.wav") for k in range(4))


def test_code_names_match_the_c_headers():
    pattern = re.compile(r"(TAVN_ERR_\w+|ENGINE_ERR_\w+)\s*=?\s*(0x[0-9A-Fa-f]+)u")
    headers = (SOURCE / "synth/tavn.h").read_text() + (SOURCE / "engines/speech/engine_codes.h").read_text()
    in_c = {int(code, 16): name for name, code in pattern.findall(headers)}
    assert in_c == tavn._codes.RESULT_NAMES
    assert tavn._codes.result_name(0xDEADBEEF) == "UNKNOWN"


def test_readme_example_runs():
    run = subprocess.run([sys.executable, str(SOURCE / "examples/python/hello.py")],
                         capture_output=True, text=True, check=True)
    lines = run.stdout.splitlines()
    assert is_wave("hello.wav")
    if ENGINE == "speech":
        assert lines[0] == "0.000s Hello from Python." and lines[1].endswith("s Goodbye.")
