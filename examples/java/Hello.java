import com.kavri.talvern;
import java.nio.charset.StandardCharsets;

/** Speaks a sentence into hello.wav. */
public class Hello {
    static byte[] utf8(String s) {
        return s.getBytes(StandardCharsets.UTF_8);
    }

    public static void main(String[] args) {
        talvern t = new talvern();  // loads libtavn.so from java.library.path
        int r = t.TalvernSynth(utf8("Hello from Java."), false, utf8("hello.wav"),
                               new byte[0], new byte[0], new byte[0]);
        if (r != 0) {
            System.err.printf("speech failed: 0x%08x%n", r);
            System.exit(1);
        }
        System.out.println("hello.wav written");
    }
}
