#include "kelBase64Tasks.hpp"
#include "kelConverterTasks.hpp"
#include "kelFormatterTasks.hpp"
#include "kelStringTokenizerTasks.hpp"

#include <benchmark/benchmark.h>
#include <unicode/unistr.h>

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTextCodec>
#include <QVector>
#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

/// Qt, whose strings are also UTF-16, compared with several classes.
namespace {

using namespace tarvo::benchmarks;

// --- Base64: Qt works on bytes, so the text is widened after encoding and narrowed before decoding

std::size_t encodeBase64(unsigned short* dest, std::size_t, const char* src, std::size_t srcBytes) {
  const QByteArray text = QByteArray::fromRawData(src, static_cast<int>(srcBytes)).toBase64();
  base64::widen({text.constData(), static_cast<std::size_t>(text.size())}, dest);
  return static_cast<std::size_t>(text.size());
}

std::size_t decodeBase64(char* dest, std::size_t destBytes, const unsigned short* src, std::size_t srcUnits) {
  static std::string text;
  if (!base64::narrowed(src, srcUnits, text)) return 0;
  const auto result =
      QByteArray::fromBase64Encoding(QByteArray::fromRawData(text.data(), static_cast<int>(text.size())),
                                     QByteArray::AbortOnBase64DecodingErrors);
  const auto size = static_cast<std::size_t>(result.decoded.size());
  if (!result || size > destBytes) return 0;
  std::copy_n(result.decoded.constData(), size, dest);
  return size;
}

BENCHMARK(base64::encodes<&encodeBase64>)->Name("Base64/encode/Qt and widening")->Apply(base64::sizes);
BENCHMARK(base64::decodes<&decodeBase64>)->Name("Base64/decode/Qt and narrowing")->Apply(base64::sizes);

// --- Formatter

void writeInteger(QString& out, std::int64_t value) {
  out = QString::number(static_cast<qlonglong>(value));
}

bool equals(const QString& out, const icu::UnicodeString& expected) {
  return QStringView(out) == QStringView(expected.getBuffer(), expected.length());
}

std::int64_t readInteger(const QString& text) {
  return text.toLongLong();
}

double readDouble(const QString& text) {
  return text.toDouble();
}

/// The shared tasks make their texts of this type.
class Text : public QString {
 public:
  using value_type = QChar;
  using QString::QString;
};

BENCHMARK((formatter::writes<&writeInteger, QString, &equals>))->Name("Formatter/integer to text/Qt");
BENCHMARK((formatter::readsIntegers<&readInteger, Text>))->Name("Formatter/text to integer/Qt");
BENCHMARK((formatter::readsDoubles<&readDouble, Text>))->Name("Formatter/text to double/Qt");

// --- Converter

QString shared(const icu::UnicodeString& text) {
  return QString(reinterpret_cast<const QChar*>(text.getBuffer()), text.length());
}

std::string_view viewOf(const QByteArray& bytes) {
  return {bytes.constData(), static_cast<std::size_t>(bytes.size())};
}

void competeFromUnicode(const converter::FromUnicode& task) {
  const QString text = shared(task.text);
  const auto kept = std::make_shared<QByteArray>();
  if (task.page == "UTF-8") {
    converter::compete(
        task.task, "Qt",
        [=](auto&) {
          *kept = text.toUtf8();
          return viewOf(*kept);
        },
        task.own);
    return;
  }
  const QTextCodec* const codec = QTextCodec::codecForName(task.page.c_str());
  if (codec == nullptr) return;
  converter::compete(
      task.task, "Qt",
      [=](auto&) {
        *kept = codec->fromUnicode(text);
        return viewOf(*kept);
      },
      task.own);
}

void competeToUnicode(const converter::ToUnicode& task) {
  const auto data = std::make_shared<const std::string>(task.data);
  const int size = static_cast<int>(data->size());
  const auto kept = std::make_shared<QString>();
  const QTextCodec* const codec =
      task.page == "UTF-8" ? nullptr : QTextCodec::codecForName(task.page.c_str());
  if (codec == nullptr && task.page != "UTF-8") return;
  converter::compete(
      task.task, "Qt",
      [=](auto&) {
        *kept =
            codec == nullptr ? QString::fromUtf8(data->data(), size) : codec->toUnicode(data->data(), size);
        return converter::asBytes(kept->utf16(), kept->size());
      },
      task.own);
}

const bool registered = [] {
  for (const converter::FromUnicode& task : converter::casesFromUnicode()) competeFromUnicode(task);
  for (const converter::ToUnicode& task : converter::casesToUnicode()) competeToUnicode(task);
  return true;
}();

// --- StringTokenizer

void splitBlanks(benchmark::State& state) {
  const QString text = QString::fromStdString(tokenizer::blankSeparated());
  tokenizer::splits(
      state, [&] { return text.split(QLatin1Char(' ')); },
      [](const QString& token) { return token.toStdString(); });
}

BENCHMARK(splitBlanks)->Name("StringTokenizer/construct, one delimiter/Qt");

}  // namespace
