import java.io.ByteArrayInputStream;
import java.io.DataInputStream;
import java.io.IOException;
import java.util.Map;
import java.util.Properties;
import java.util.TreeMap;

/**
 * Reads documents from standard input, each a length of four bytes, big-endian, and that many bytes, and says
 * how the class library reads them. For each document: a line "key=value" for each property, ordered by key,
 * both as the hexadecimal digits of their UTF-16 code units; or the line "refused"; then an empty line.
 */
final class PropertiesJudge {
  public static void main(String[] arguments) throws IOException {
    DataInputStream in = new DataInputStream(System.in);
    StringBuilder out = new StringBuilder();
    while (true) {
      byte[] length = in.readNBytes(4);
      if (length.length < 4) break;
      int count = new DataInputStream(new ByteArrayInputStream(length)).readInt();
      judge(in.readNBytes(count), out);
    }
    System.out.print(out);
  }

  private static void judge(byte[] document, StringBuilder out) throws IOException {
    Properties properties = new Properties();
    try {
      properties.load(new ByteArrayInputStream(document));
    } catch (IllegalArgumentException malformed) {
      out.append("refused\n\n");
      return;
    }
    Map<String, String> ordered = new TreeMap<>();
    for (String key : properties.stringPropertyNames()) ordered.put(key, properties.getProperty(key));
    ordered.forEach((key, value) -> out.append(hex(key)).append('=').append(hex(value)).append('\n'));
    out.append('\n');
  }

  private static String hex(String text) {
    StringBuilder digits = new StringBuilder();
    for (char unit : text.toCharArray()) digits.append(String.format("%04X", (int) unit));
    return digits.toString();
  }
}
