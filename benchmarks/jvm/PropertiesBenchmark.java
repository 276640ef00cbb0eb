import com.sun.management.OperatingSystemMXBean;
import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.Map;
import java.util.Properties;
import java.util.Random;
import java.util.TreeMap;

/**
 * The JVM's properties, in a separate process, for comparison with ExtendedProperties. Writes its results in
 * Google Benchmark's form: medians of five repetitions after a warm-up, in nanoseconds of the process's
  * processor time, which includes the garbage collector.
 *
 * <pre>java PropertiesBenchmark.java SIZE=DIGEST=FILE...</pre>
 *
 * The digest is the one that kelinfra_properties_files prints for the file. The program ends with an error if
  * Properties reads other properties from the file, or from the text that it saves.
 */
final class PropertiesBenchmark {
  private static final int REPETITIONS = 5;
  private static final long WARM_UP_NANOSECONDS = 1_500_000_000L;
  private static final long REPETITION_NANOSECONDS = 500_000_000L;

  private static final OperatingSystemMXBean PROCESS =
      (OperatingSystemMXBean) ManagementFactory.getOperatingSystemMXBean();

  private interface Operation {
    Object run() throws IOException;
  }

  /** Receives the results, so that no operation can be optimised away. */
  private static Object sink;

  private final List<String> rows = new ArrayList<>();

  public static void main(String[] arguments) throws IOException {
    PropertiesBenchmark benchmark = new PropertiesBenchmark();
    for (String argument : arguments) {
      String[] parts = argument.split("=", 3);
      benchmark.measure(parts[0], parts[1], Files.readAllBytes(Path.of(parts[2])));
    }
    System.out.println("{\"benchmarks\": [\n" + String.join(",\n", benchmark.rows) + "\n]}");
  }

  private void measure(String entries, String digest, byte[] file) throws IOException {
    Properties properties = load(file);
    require(digest.equals(digestOf(properties)), "the properties of the file differ");
    require(digest.equals(digestOf(load(save(properties)))), "the properties of the saved text differ");
    row("load", entries, () -> load(file));
    List<String> keys = new ArrayList<>(properties.stringPropertyNames());
    Collections.shuffle(keys, new Random(815));
    int[] at = {0};
    // Each run is a batch: one look-up is shorter than the resolution of the clock.
    final int batch = 1000;
    row("look-up", entries, batch, () -> {
      int length = 0;
      for (int i = 0; i < batch; ++i) {
        length += properties.getProperty(keys.get(at[0])).length();
        at[0] = at[0] + 1 == keys.size() ? 0 : at[0] + 1;
      }
      return length;
    });
    row("save", entries, () -> save(properties));
  }

  private static Properties load(byte[] file) throws IOException {
    Properties properties = new Properties();
    properties.load(new ByteArrayInputStream(file));
    return properties;
  }

  private static byte[] save(Properties properties) throws IOException {
    ByteArrayOutputStream out = new ByteArrayOutputStream();
    properties.store(out, null);
    return out.toByteArray();
  }

  private static void require(boolean holds, String what) {
    if (!holds) throw new IllegalStateException(what);
  }

  /** FNV-1a over the units of all keys, in their order, and values, a zero behind each. */
  private static String digestOf(Properties properties) {
    TreeMap<String, String> sorted = new TreeMap<>();
    for (String key : properties.stringPropertyNames()) sorted.put(key, properties.getProperty(key));
    long digest = 0xcbf29ce484222325L;
    for (Map.Entry<String, String> entry : sorted.entrySet()) {
      for (char unit : (entry.getKey() + '\0' + entry.getValue() + '\0').toCharArray())
        digest = (digest ^ unit) * 0x100000001b3L;
    }
    return String.format("%016x", digest);
  }

  private void row(String task, String entries, Operation operation) throws IOException {
    row(task, entries, 1, operation);
  }

  private void row(String task, String entries, int batch, Operation operation) throws IOException {
    repeat(operation, WARM_UP_NANOSECONDS);
    double[] times = new double[REPETITIONS];
    for (int i = 0; i < REPETITIONS; ++i) times[i] = repeat(operation, REPETITION_NANOSECONDS) / batch;
    Arrays.sort(times);
    rows.add(String.format(
        "{\"run_name\": \"ExtendedProperties/%s/a warm JVM/entries:%s\", \"aggregate_name\": \"median\", "
            + "\"cpu_time\": %f, \"time_unit\": \"ns\"}",
        task, entries, times[REPETITIONS / 2]));
  }

  /** Nanoseconds a run, on the average of as many runs as fit. */
  private static double repeat(Operation operation, long nanoseconds) throws IOException {
    long start = PROCESS.getProcessCpuTime();
    long end = System.nanoTime() + nanoseconds;
    long runs = 0;
    do {
      sink = operation.run();
      ++runs;
    } while (System.nanoTime() < end);
    return (double) (PROCESS.getProcessCpuTime() - start) / runs;
  }
}
