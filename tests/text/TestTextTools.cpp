#include <QTest>

#include "TextTools.h"
#include "TestRegistry.h"

using namespace Qt::StringLiterals;

namespace {

enum class Tool { decode, words, stem, keywords, sentence, truncate, readable };

// Every tool's result as one text, so one table holds them all.
QString apply(Tool tool, const QString &input, int n)
{
    switch (tool) {
    case Tool::decode:
        return TextTools::decodeEntities(input);
    case Tool::words:
        return TextTools::words(input).join(u'|');
    case Tool::stem:
        return TextTools::stem(input);
    case Tool::keywords: { // texts separated by '/', n the shortest length
        QStringList out;
        for (const TextTools::Keyword &k : TextTools::keywordCounts(input.split(u'/'), n))
            out << k.key + u':' + k.display + u':' + QString::number(k.count);
        return out.join(u' ');
    }
    case Tool::sentence:
        return TextTools::firstSentence(input, n).value_or(u"<keiner>"_s);
    case Tool::truncate:
        return TextTools::truncate(input, n);
    case Tool::readable: {
        const TextTools::Readable readable = TextTools::readableText(input, n);
        return readable.title + u'|' + readable.text;
    }
    }
    return {};
}

void row(const char *name, Tool tool, const QString &input, int n, const QString &expected)
{
    QTest::newRow(name) << tool << input << n << expected;
}

} // namespace

class TestTextTools : public QObject
{
    Q_OBJECT

private slots:
    void tools_data()
    {
        QTest::addColumn<Tool>("tool");
        QTest::addColumn<QString>("input");
        QTest::addColumn<int>("n");
        QTest::addColumn<QString>("expected");
        using enum Tool;
        row("decode: szlig is two letters", decode, u"a &szlig; b"_s, 0, u"a ss b"_s);
        row("decode: hex upper X", decode, u"&#Xe4;"_s, 0, u"\u00e4"_s);
        row("decode: astral", decode, u"&#x1F600;"_s, 0, u"\U0001F600"_s);
        row("decode: surrogate stays", decode, u"&#xD800;"_s, 0, u"&#xD800;"_s);
        row("decode: beyond unicode stays", decode, u"&#x110000;"_s, 0, u"&#x110000;"_s);
        row("decode: beyond 32 bits stays", decode, u"&#99999999999;"_s, 0, u"&#99999999999;"_s);
        row("decode: names are case-sensitive", decode, u"&AMP; &Auml;"_s, 0, u"&AMP; \u00c4"_s);
        row("decode: missing semicolon", decode, u"Fish &amp chips"_s, 0, u"Fish &amp chips"_s);
        row("decode: amp-lt decodes once", decode, u"&amp;lt;"_s, 0, u"&lt;"_s);
        row("decode: later semicolon after rescan", decode, u"&&amp;"_s, 0, u"&&"_s);
        // ';' as the 12th character from '&' is inside the window, the 13th not.
        row("decode: window 12 inside", decode, u"&#000000065;"_s, 0, u"A"_s);
        row("decode: window 13 outside", decode, u"&#0000000065;"_s, 0, u"&#0000000065;"_s);
        row("decode: window counts characters", decode, u"&e\u0301e\u0301e\u0301e\u0301xxxxxx;"_s, 0,
            u"&e\u0301e\u0301e\u0301e\u0301xxxxxx;"_s);
        row("words: stop words and single letters", words, u"Die Katze, der a Hund! f\u00fcr \u00fcber"_s, 0, u"katze|hund"_s);
        row("words: hyphen and apostrophe split", words, u"E-Mail don't"_s, 0, u"mail|don"_s);
        row("words: digits of other scripts", words, u"\u0661\u0662 x9"_s, 0, u"\u0661\u0662|x9"_s);
        row("words: combining mark stays in word", words, u"Cafe\u0301 ok"_s, 0, u"cafe\u0301|ok"_s);
        row("words: astral letters", words, u"\U0001D400\U0001D401 zz"_s, 0, u"\U0001D400\U0001D401|zz"_s);
        row("stem: first six", stem, u"projekt"_s, 0, u"projek"_s);
        row("stem: six characters of eight code units", stem, u"re\u0301sume\u0301"_s, 0, u"re\u0301sume\u0301"_s);
        row("stem: seven with combining marks", stem, u"re\u0301sume\u0301s"_s, 0, u"re\u0301sume\u0301"_s);
        row("keywords: capitalised wins, counted per text", keywords, u"garten Garten/Garten"_s, 3, u"garten:Garten:2"_s);
        row("keywords: shorter capital replaces", keywords, u"Projektplanung Projekt"_s, 3, u"projek:Projekt:1"_s);
        row("keywords: digits only skipped", keywords, u"2024 2024er"_s, 3, u"2024er:2024er:1"_s);
        row("keywords: hyphens trimmed, inner kept", keywords, u"--e-bike-- --"_s, 3, u"e-bike:e-bike:1"_s);
        row("keywords: min length and stop words", keywords, u"Die Uhr ist rot"_s, 4, u""_s);
        row("keywords: count, then key", keywords, u"zebra apfel/apfel mango"_s, 3,
            u"apfel:apfel:2 mango:mango:1 zebra:zebra:1"_s);
        row("keywords: code point order above surrogates", keywords, u"\uff41\uff41 \U0001D41A\U0001D41A"_s, 2,
            u"\uff41\uff41:\uff41\uff41:1 \U0001D41A\U0001D41A:\U0001D41A\U0001D41A:1"_s);
        const QString good = u"Der Garten braucht im Fruehling viel Wasser und Licht."_s;
        QString forty;
        for (int i = 0; i < 40; ++i)
            forty += u"Kurz %1. "_s.arg(i);
        row("sentence: skips short ones", sentence, u"Hallo. "_s + good, 200, good);
        row("sentence: too few words", sentence, u"Donaudampfschifffahrtskapitaensmuetze ist lang."_s, 200, u"<keiner>"_s);
        row("sentence: cookie and login excluded", sentence,
            u"Wir verwenden Cookies auf dieser Seite fuer die beste Erfahrung. "
            "Bitte Log in um alle Inhalte dieser Seite zu lesen und mehr."_s, 200, u"<keiner>"_s);
        row("sentence: newline joins lines", sentence, u"Der Garten braucht im Fruehling\nviel Wasser und Licht."_s, 200, good);
        row("sentence: shortened", sentence, good, 20, u"Der Garten braucht\u2026"_s);
        row("sentence: the 41st counts", sentence, forty + good, 200, good);
        row("sentence: the 42nd is out", sentence, forty + u"Kurz. "_s + good, 200, u"<keiner>"_s);
        row("truncate: fits", truncate, u"abcde"_s, 5, u"abcde"_s);
        row("truncate: at a space", truncate, u"the quick brown fox"_s, 12, u"the quick\u2026"_s);
        row("truncate: space too early", truncate, u"ab cdefghijkl"_s, 10, u"ab cdefgh\u2026"_s);
        row("truncate: only U+0020 is a space", truncate, u"abcdef\u00a0ghijkl"_s, 10, u"abcdef\u00a0gh\u2026"_s);
        // A thumbs-up with skin tone is one character of four code units.
        row("truncate: emoji with skin tone fits", truncate, u"\U0001F44D\U0001F3FD\U0001F44D\U0001F3FD"_s, 2,
            u"\U0001F44D\U0001F3FD\U0001F44D\U0001F3FD"_s);
        row("truncate: emoji with skin tone cut whole", truncate,
            u"\U0001F44D\U0001F3FD\U0001F44D\U0001F3FD\U0001F44D\U0001F3FD"_s, 2, u"\U0001F44D\U0001F3FD\u2026"_s);
        row("truncate: combining marks", truncate, u"e\u0301e\u0301e\u0301e\u0301"_s, 3, u"e\u0301e\u0301\u2026"_s);
        const QString a400(400, u'a');
        row("readable: title decoded and trimmed", readable, u"<TITLE lang=de>  Caf&eacute; &amp; Bar\n </title>"_s, 100,
            u"Caf\u00e9 & Bar|Caf\u00e9 & Bar"_s);
        row("readable: unwanted elements removed", readable,
            u"<script>var a=1;</script><nav>Menu</nav><div>Inhalt</div><footer>F</footer><STYLE>p{}</STYLE>"_s, 100,
            u"|Inhalt"_s);
        row("readable: lazy pairing", readable, u"<aside>a</aside>Mitte<aside>b</aside>"_s, 100, u"|Mitte"_s);
        row("readable: word boundary after the name", readable, u"<p><navi>bleibt</navi></p>"_s, 100, u"|bleibt"_s);
        row("readable: unclosed script loses its tag only", readable, u"<p>vorher</p><script src=x>nachher"_s, 100,
            u"|vorher nachher"_s);
        row("readable: comments removed", readable, u"<p>a<!-- <p>versteckt</p> -->b</p>"_s, 100, u"|a b"_s);
        row("readable: article of 400 reads the whole page", readable, u"<p>Aussen</p><article>"_s + a400 + u"</article>"_s,
            1000, u"|Aussen\n"_s + a400);
        row("readable: article of 401 alone", readable, u"<p>Aussen</p><article>b"_s + a400 + u"</article>"_s, 1000,
            u"|b"_s + a400);
        row("readable: main when the article is short", readable,
            u"<p>Aussen</p><article>kurz</article><main>"_s + a400 + u"c</main>"_s, 1000, u"|"_s + a400 + u"c"_s);
        row("readable: blanks collapse, block tags break", readable,
            u"  viele \t  Leer\u00a0zeichen <br/>neu<li>Punkt<span>inline</span>"_s, 100,
            u"|viele Leer zeichen\nneu\nPunkt inline"_s);
        row("readable: limit in characters", readable, u"<p>e\u0301e\u0301e\u0301e\u0301</p>"_s, 3,
            u"|e\u0301e\u0301e\u0301"_s);
        row("readable: other line separators", readable, u"eins\u2028zwei\rdrei"_s, 100, u"|eins\nzwei\ndrei"_s);
        row("readable: entities after tags", readable, u"<p>&lt;b&gt; ok</p>"_s, 100, u"|<b> ok"_s);
    }

    void tools()
    {
        QFETCH(Tool, tool);
        QFETCH(QString, input);
        QFETCH(int, n);
        QFETCH(QString, expected);
        QCOMPARE(apply(tool, input, n), expected);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestTextTools)
#include "TestTextTools.moc"
