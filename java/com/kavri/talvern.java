package com.kavri;

/**
 * Speaks a text (or a text file) into a WAVE file through libtavn.so.
 *
 * The byte arrays are handed to the library unconverted: pass the text and
 * file names in the encoding the speech engine and file system expect. The
 * result is the library's 32-bit result code: 0 for success, failure codes
 * arrive as negative numbers (0x80650006, an empty text, is -2140864506).
 * Thread-safe: any number of calls may run at once.
 */
public class talvern {
    static {
        System.loadLibrary("tavn");
    }

    // An instance method: the native side never looks at the object, so a
    // static declaration would bind as well.
    public native int TalvernSynth(byte[] text, boolean isFile, byte[] outFile,
                                   byte[] connStr1, byte[] connStr2, byte[] params);
}
