"""Reading the synch text that TavnSynthSyn writes back into sentences."""

_TIME_OPEN = b'{\n    Time:"'
_TIME_CLOSE = b's",\n    SentenseText :"'
_NEXT_RECORD = b'"\n},\n{\n    Time:"'
_LAST_RECORD = b'"\n}]\n}'


def read_sentences(synch: bytes, media_url: bytes, absolute_path: bytes):
    """[(seconds, text bytes)] of a synch text whose head holds media_url and
    absolute_path.  Sentence texts are not escaped in the synch text, so a text
    ends where the next record or the tail begins.  None when the text is not
    in that form."""
    head = b'{\nMediaUrl:"' + media_url + b'",\nAbsolutePath:"' + absolute_path + b'",\nSentenses : ['
    if not synch.startswith(head):
        return None
    pos = len(head)
    if synch[pos:] == b"]\n}":
        return []
    sentences = []
    while True:
        if sentences:
            if not synch.startswith(b",\n", pos):
                return None
            pos += 2
        if not synch.startswith(_TIME_OPEN, pos):
            return None
        pos += len(_TIME_OPEN)
        time_end = synch.find(_TIME_CLOSE, pos)
        if time_end < 0:
            return None
        seconds = float(synch[pos:time_end])  # "inf" and "nan" read as such
        pos = time_end + len(_TIME_CLOSE)
        nxt = synch.find(_NEXT_RECORD, pos)
        if nxt < 0:
            if len(synch) < pos + len(_LAST_RECORD) or not synch.endswith(_LAST_RECORD):
                return None
            sentences.append((seconds, synch[pos:len(synch) - len(_LAST_RECORD)]))
            return sentences
        sentences.append((seconds, synch[pos:nxt]))
        pos = nxt + 3  # at ",\n{"
