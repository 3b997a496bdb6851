// tavnd's POST /v1/audio/speech through the official openai client library
// (from the npm registry), as programs written for that endpoint call it.
//   node openai_client_test.js BASE_URL NODE_FOLDER
// Exits 1 on the first failed check.
'use strict';

const path = require('path');

const [baseURL, modules] = process.argv.slice(2);
const { OpenAI } = require(path.join(modules, 'node_modules', 'openai'));

function check(ok, what) {
  if (!ok) throw new Error(`failed: ${what}`);
  console.log(`ok: ${what}`);
}

async function main() {
  const client = new OpenAI({ baseURL, apiKey: 'not-needed', maxRetries: 0, timeout: 30000 });
  const input = 'Hello from the client library. This is its second sentence.';

  const wav = Buffer.from(await (await client.audio.speech.create({
    model: 'tts-1', voice: 'en', input, response_format: 'wav', speed: 1.5,
  })).arrayBuffer());
  check(wav.toString('latin1', 0, 4) === 'RIFF' && wav.length > 20000, `wav: a WAVE file of ${wav.length} bytes`);

  const mp3 = Buffer.from(await (await client.audio.speech.create({ model: 'tts-1', voice: 'en', input }))
    .arrayBuffer());
  check(mp3[0] === 0xff && (mp3[1] & 0xe0) === 0xe0, `mp3 by default: ${mp3.length} bytes from a frame header`);

  const pcm = Buffer.from(await (await client.audio.speech.create({
    model: 'tts-1', voice: 'en', input, response_format: 'pcm', speed: 1.5,
  })).arrayBuffer());
  // Another rendering: libespeak-ng may differ by some milliseconds from one to the next.
  check(pcm.toString('latin1', 0, 4) !== 'RIFF' && pcm.length % 2 === 0 &&
    Math.abs(pcm.length - (wav.length - 44)) < wav.length / 10, `pcm: ${pcm.length} bytes of samples, no header`);

  for (const [request, status, text] of [
    [{ model: 'tts-1', voice: 'alloy', input }, 400, 'not installed'],
    [{ model: 'tts-1', voice: 'en', input, response_format: 'opus' }, 400, 'supported: wav, mp3, pcm'],
    [{ model: 'tts-1', voice: 'en', input, speed: 9 }, 400, 'speed'],
    [{ model: 'tts-1', voice: 'en', input: '' }, 400, 'empty'],
  ]) {
    let error = null;
    try {
      await client.audio.speech.create(request);
    } catch (e) {
      error = e;
    }
    check(error && error.status === status && String(error.message).includes(text),
      `refused with ${status}: "${error && error.message}"`);
  }
}

main().catch((e) => {
  console.error(e.message || e);
  process.exit(1);
});
