"""Speaks two sentences into hello.wav and prints when each begins."""
import tavn

try:
    for sentence in tavn.synth_with_timings("Hello from Python. Goodbye.", "hello.wav"):
        print(f"{sentence.start:.3f}s {sentence.text}")
except tavn.TavnError as e:
    raise SystemExit(f"speech failed: 0x{e.code:08x} {e.name}")
