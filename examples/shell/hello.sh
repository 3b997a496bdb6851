#!/bin/sh
# Speaks a text from a pipe into hello.wav, with subtitle cues in hello.srt.
set -e
echo "Hello from the command line. Goodbye." | tavn-say -o hello.wav --marks srt=hello.srt
cat hello.srt
