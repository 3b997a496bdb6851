import com.kavri.talvern;
import java.io.File;
import java.nio.charset.StandardCharsets;

/** Calls the native method on a real JVM; exits non-zero on any mismatch. */
public class TalvernCheck {
    static byte[] b(String s) {
        return s.getBytes(StandardCharsets.UTF_8);
    }

    static void expect(String what, long want, long got) {
        if (want != got) {
            System.out.println(what + ": want " + want + ", got " + got);
            System.exit(1);
        }
    }

    public static void main(String[] args) {
        String dir = args[0];
        talvern t = new talvern();
        String out = dir + "/java.wav";
        expect("normal request", 0, t.TalvernSynth(b("Hello from Java."), false, b(out), b("c1"), b("c2"), b("")));
        expect("file written", 1644, new File(out).length());
        expect("empty text", -2140864506L, t.TalvernSynth(new byte[0], false, b(out), b(""), b(""), b("")));
        expect("empty output name", -2140864506L, t.TalvernSynth(b("x"), false, new byte[0], b(""), b(""), b("")));
        byte[] cut = b(dir + "/cut.wav\0ignored");
        expect("zero byte ends the name", 0, t.TalvernSynth(b("x"), false, cut, b(""), b(""), b("")));
        expect("cut name written", 1644, new File(dir + "/cut.wav").length());
        System.out.println("java entry ok");
    }
}
