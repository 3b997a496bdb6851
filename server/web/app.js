// The listening page: fills the pickers from GET /v1/voices, speaks through
// POST /v1/speak with marks, plays the audio and lights up each sentence
// (and each <mark>) as the audio reaches it.
'use strict';

(function () {
  const $ = (id) => document.getElementById(id);
  const form = $('prompt');
  const text = $('text');
  const voice = $('voice');
  const format = $('format');
  const speakButton = $('speak');
  const downloadButton = $('download');
  const player = $('player');
  const transcript = $('transcript');
  const errorBox = $('error');
  const statusLine = $('status');
  const sliders = ['rate', 'pitch', 'volume'];

  let formats = [];  // rows of the format table, from /v1/voices
  let marks = [];    // the last spoken text's marks, each with its element

  function showError(message) {
    errorBox.textContent = message;
    errorBox.hidden = false;
  }

  function clearError() {
    errorBox.hidden = true;
    errorBox.textContent = '';
  }

  function setBusy(busy, message) {
    speakButton.disabled = busy;
    downloadButton.disabled = busy;
    statusLine.textContent = message || '';
  }

  // The message of an error answer ({"error":{"message":...,"param":...}}).
  async function errorOf(response) {
    try {
      const body = await response.json();
      if (body && body.error && body.error.message) {
        return body.error.param ? `${body.error.message} (${body.error.param})` : body.error.message;
      }
    } catch (e) {
      // not JSON: fall through to the status
    }
    return `The server answered ${response.status} ${response.statusText}`.trim();
  }

  function addOption(select, value, label) {
    const option = document.createElement('option');
    option.value = value;
    option.textContent = label;
    select.append(option);
  }

  async function loadPickers() {
    const response = await fetch('/v1/voices');
    if (!response.ok) throw new Error(await errorOf(response));
    const answer = await response.json();
    voice.textContent = '';
    for (const v of answer.voices) addOption(voice, v.name, `${v.name} (${v.language}, ${v.backend})`);
    if (answer.voices.some((v) => v.name === 'en')) voice.value = 'en';
    formats = answer.formats;
    format.textContent = '';
    for (const f of formats) addOption(format, String(f.row), `${f.name} (${f.media_type})`);
    format.value = '4';
    voice.disabled = false;
    format.disabled = false;
    setBusy(false);
  }

  function requestBody(withMarks) {
    return JSON.stringify({
      text: text.value,
      voice: voice.value,
      format: Number(format.value),
      rate: Number($('rate').value),
      pitch: Number($('pitch').value),
      volume: Number($('volume').value),
      marks: withMarks ? 'json' : 'none',
    });
  }

  function post(withMarks) {
    return fetch('/v1/speak', {
      method: 'POST',
      headers: { 'Content-Type': 'application/json' },
      body: requestBody(withMarks),
    });
  }

  // Maps UTF-8 byte offsets of `str` (as the marks give them) to string indexes.
  function byteIndexer(str) {
    const starts = [];  // byte offset at which each code unit begins
    let bytes = 0;
    for (let i = 0; i < str.length; i++) {
      starts.push(bytes);
      const c = str.charCodeAt(i);
      if (c < 0x80) bytes += 1;
      else if (c < 0x800) bytes += 2;
      else if (c >= 0xd800 && c <= 0xdbff) { starts.push(bytes); bytes += 4; i++; }
      else bytes += 3;
    }
    starts.push(bytes);
    return (offset) => {
      let lo = 0;
      let hi = starts.length - 1;
      while (lo < hi) {  // the first index whose start is >= offset
        const mid = (lo + hi) >> 1;
        if (starts[mid] < offset) lo = mid + 1;
        else hi = mid;
      }
      return lo;
    };
  }

  // Shows `str` with a span for each sentence and a badge for each <mark>.
  function showTranscript(str, list) {
    const index = byteIndexer(str);
    const points = [];
    for (const m of list) {
      if (m.type === 'sentence') {
        points.push({ at: index(m.start), order: 1, kind: 'open', mark: m });
        points.push({ at: index(m.end), order: 0, kind: 'close', mark: m });
      } else {
        points.push({ at: index(m.start), order: 2, kind: 'mark', mark: m });
      }
    }
    points.sort((a, b) => a.at - b.at || a.order - b.order);
    transcript.textContent = '';
    let at = 0;
    let into = transcript;
    for (const p of points) {
      if (p.at > at) {
        into.append(str.slice(at, p.at));
        at = p.at;
      }
      if (p.kind === 'open') {
        const span = document.createElement('span');
        span.className = 'sentence';
        transcript.append(span);
        into = span;
        p.mark.element = span;
      } else if (p.kind === 'close') {
        into = transcript;
      } else {
        const badge = document.createElement('span');
        badge.className = 'mark';
        badge.textContent = p.mark.value;
        into.append(badge);
        p.mark.element = badge;
      }
    }
    if (at < str.length) transcript.append(str.slice(at));
  }

  // Lights up the sentence being spoken and the marks already passed.
  function highlight() {
    const now = player.currentTime * 1000;
    const playing = !player.ended && player.currentTime > 0;
    let current = null;
    for (const m of marks) if (m.type === 'sentence' && m.time <= now) current = m;
    for (const m of marks) {
      if (!m.element) continue;
      const on = playing && (m.type === 'sentence' ? m === current : m.time <= now);
      m.element.classList.toggle('current', on);
      if (on && m.type === 'sentence') m.element.setAttribute('aria-current', 'true');
      else m.element.removeAttribute('aria-current');
    }
  }

  function followPlayback() {
    highlight();
    if (!player.paused && !player.ended) requestAnimationFrame(followPlayback);
  }

  // Posts the form, with or without marks, and hands a successful answer
  // to `use`; a refusal or a failure shows its message.
  async function send(withMarks, busyText, use) {
    clearError();
    setBusy(true, busyText);
    try {
      const response = await post(withMarks);
      if (response.ok) await use(response);
      else showError(await errorOf(response));
    } catch (e) {
      showError(e && e.message ? e.message : String(e));
    } finally {
      setBusy(false);
    }
  }

  function speak(event) {
    event.preventDefault();
    player.pause();
    marks = [];
    transcript.textContent = 'Sentences light up here as they are spoken.';
    return send(true, 'Speaking...', async (response) => {
      const answer = await response.json();
      marks = answer.marks || [];
      showTranscript(text.value, marks);
      if (player.canPlayType(answer.media_type) === '') {
        showError(`This browser cannot play ${answer.media_type}: use Download.`);
        return;
      }
      player.src = answer.audio_url;
      await player.play();
    });
  }

  function download() {
    return send(false, 'Rendering...', async (response) => {
      const blob = await response.blob();
      const row = formats.find((f) => String(f.row) === format.value);
      const link = document.createElement('a');
      link.href = URL.createObjectURL(blob);
      link.download = `prompt.${row ? row.extension : 'bin'}`;
      document.body.append(link);
      link.click();
      link.remove();
      setTimeout(() => URL.revokeObjectURL(link.href), 60000);
    });
  }

  form.addEventListener('submit', speak);
  downloadButton.addEventListener('click', download);
  text.addEventListener('keydown', (event) => {
    if (event.key === 'Enter' && (event.ctrlKey || event.metaKey)) {
      event.preventDefault();
      form.requestSubmit();
    }
  });
  for (const name of sliders) {
    const input = $(name);
    input.addEventListener('input', () => { $(`${name}-value`).textContent = input.value; });
  }
  player.addEventListener('play', () => requestAnimationFrame(followPlayback));
  player.addEventListener('timeupdate', highlight);
  player.addEventListener('ended', highlight);

  loadPickers().catch((e) => showError(`Cannot list the voices: ${e.message}`));
}());
