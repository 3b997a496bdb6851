import com.kavri.talvern;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Paths;

/**
 * What the native method's unreleased array elements cost a long-running
 * JVM: resident memory growth per call for a short and a long text, after a
 * warm-up, with the JVM's own heap kept fixed (-Xms = -Xmx).
 *
 *   java JniCost DIR [CALLS]
 */
public class JniCost {
    static long rssKib() throws Exception {
        for (String line : Files.readAllLines(Paths.get("/proc/self/status")))
            if (line.startsWith("VmRSS:")) return Long.parseLong(line.replaceAll("[^0-9]", ""));
        return -1;
    }

    static byte[] b(String s) {
        return s.getBytes(StandardCharsets.UTF_8);
    }

    public static void main(String[] args) throws Exception {
        String dir = args[0];
        int calls = args.length > 1 ? Integer.parseInt(args[1]) : 5000;
        talvern t = new talvern();
        byte[] out = b(dir + "/jni.wav"), c1 = b("c1"), c2 = b("c2"), params = b("p");
        for (int size : new int[] {16, 4096, 65536}) {
            byte[] text = new byte[size];
            java.util.Arrays.fill(text, (byte) 'x');
            for (int i = 0; i < 1000; ++i) t.TalvernSynth(text, false, out, c1, c2, params);  // warm-up
            System.gc();
            long before = rssKib();
            long t0 = System.nanoTime();
            for (int i = 0; i < calls; ++i) t.TalvernSynth(text, false, out, c1, c2, params);
            long ns = System.nanoTime() - t0;
            long grown = rssKib() - before;
            int arrays = size + out.length + c1.length + c2.length + params.length;
            System.out.printf("text of %6d bytes (%6d bytes in the five arrays): %d calls, resident memory +%d KiB = %.0f bytes per call, %.1f us per call%n",
                              size, arrays, calls, grown, grown * 1024.0 / calls, ns / 1000.0 / calls);
        }
    }
}
