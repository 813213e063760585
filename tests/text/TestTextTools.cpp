#include <QTest>

#include "TextTools.h"
#include "TestRegistry.h"

using namespace Qt::StringLiterals;

class TestTextTools : public QObject
{
    Q_OBJECT

private slots:
    void decodeEntities_data();
    void decodeEntities();
    void words_data();
    void words();
    void stem_data();
    void stem();
    void keywordCounts_data();
    void keywordCounts();
    void topKeywords_data();
    void topKeywords();
    void firstSentence_data();
    void firstSentence();
    void truncate_data();
    void truncate();
    void readableText_data();
    void readableText();
    void stopWords();
};

void TestTextTools::decodeEntities_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("expected");

    QTest::newRow("no ampersand") << u"plain text"_qs << u"plain text"_qs;
    QTest::newRow("szlig is two letters") << u"a &szlig; b"_qs << u"a ss b"_qs;
    QTest::newRow("nbsp is a plain space") << u"a&nbsp;b"_qs << u"a b"_qs;
    QTest::newRow("decimal") << u"&#228;"_qs << u"\u00e4"_qs;
    QTest::newRow("hex lower x") << u"&#xE4;"_qs << u"\u00e4"_qs;
    QTest::newRow("hex upper X") << u"&#Xe4;"_qs << u"\u00e4"_qs;
    QTest::newRow("astral") << u"&#x1F600;"_qs << u"\U0001F600"_qs;
    QTest::newRow("surrogate stays") << u"&#xD800;"_qs << u"&#xD800;"_qs;
    QTest::newRow("beyond unicode stays") << u"&#x110000;"_qs << u"&#x110000;"_qs;
    QTest::newRow("beyond 32 bits stays") << u"&#99999999999;"_qs << u"&#99999999999;"_qs;
    QTest::newRow("empty number stays") << u"&#;&#x;"_qs << u"&#;&#x;"_qs;
    QTest::newRow("bad hex digit stays") << u"&#xG1;"_qs << u"&#xG1;"_qs;
    QTest::newRow("unknown name stays") << u"&unknown;"_qs << u"&unknown;"_qs;
    QTest::newRow("names are case-sensitive") << u"&AMP; &Auml; &auml;"_qs << u"&AMP; \u00c4 \u00e4"_qs;
    QTest::newRow("missing semicolon") << u"Fish &amp chips"_qs << u"Fish &amp chips"_qs;
    QTest::newRow("amp-lt decodes once") << u"&amp;lt;"_qs << u"&lt;"_qs;
    // ';' as the 12th character from '&' is inside the window, the 13th is not.
    QTest::newRow("window 12 inside") << u"&#000000065;"_qs << u"A"_qs;
    QTest::newRow("window 13 outside") << u"&#0000000065;"_qs << u"&#0000000065;"_qs;
    QTest::newRow("semicolon far away") << u"a & b is long; c"_qs << u"a & b is long; c"_qs;
    QTest::newRow("later semicolon reached after rescan") << u"&&amp;"_qs << u"&&"_qs;
    QTest::newRow("bad numeric copies rest") << u"&#12a;x"_qs << u"&#12a;x"_qs;
    QTest::newRow("table entries") << u"&ndash;&mdash;&hellip;&laquo;&raquo;&euro;&bull;&middot;"_qs
                                   << u"\u2013\u2014\u2026\u00ab\u00bb\u20ac\u2022\u00b7"_qs;
    QTest::newRow("quotes") << u"&quot;&apos;&lsquo;&rsquo;&ldquo;&rdquo;"_qs
                            << u"\"'\u2018\u2019\u201c\u201d"_qs;
    // Window counts characters: the four accented letters are 8 code units.
    QTest::newRow("window counts graphemes")
        << u"&e\u0301e\u0301e\u0301e\u0301xxxxxx;"_qs << u"&e\u0301e\u0301e\u0301e\u0301xxxxxx;"_qs;
    QTest::newRow("entity after text") << u"Caf&eacute; &amp; Bar"_qs << u"Caf\u00e9 & Bar"_qs;
}

void TestTextTools::decodeEntities()
{
    QFETCH(QString, input);
    QFETCH(QString, expected);
    QCOMPARE(TextTools::decodeEntities(input), expected);
}

void TestTextTools::words_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<bool>("keep");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("stop words removed") << u"Die Katze, der Hund!"_qs << false
                                        << QStringList{u"katze"_qs, u"hund"_qs};
    QTest::newRow("stop words kept") << u"Die Katze, der Hund!"_qs << true
                                     << QStringList{u"die"_qs, u"katze"_qs, u"der"_qs, u"hund"_qs};
    QTest::newRow("single letters dropped") << u"a b c dd"_qs << true << QStringList{u"dd"_qs};
    QTest::newRow("umlaut and eszett are letters") << u"Gr\u00fc\u00dfe aus Z\u00fcrich"_qs << false
                                                   << QStringList{u"gr\u00fc\u00dfe"_qs, u"z\u00fcrich"_qs};
    QTest::newRow("hyphen and apostrophe split") << u"E-Mail don't"_qs << true
                                                 << QStringList{u"mail"_qs, u"don"_qs};
    QTest::newRow("digits of other scripts") << u"\u0661\u0662 x9"_qs << true
                                             << QStringList{u"\u0661\u0662"_qs, u"x9"_qs};
    QTest::newRow("combining mark stays in word") << u"Cafe\u0301 ok"_qs << true
                                                  << QStringList{u"cafe\u0301"_qs, u"ok"_qs};
    QTest::newRow("astral letters") << u"\U0001D400\U0001D401 zz"_qs << true
                                    << QStringList{u"\U0001D400\U0001D401"_qs, u"zz"_qs};
    QTest::newRow("repetitions kept") << u"Hund hund HUND"_qs << false
                                      << QStringList{u"hund"_qs, u"hund"_qs, u"hund"_qs};
    QTest::newRow("umlaut stop words") << u"f\u00fcr fur \u00fcber uber k\u00f6nnen"_qs << false
                                       << QStringList{};
}

void TestTextTools::words()
{
    QFETCH(QString, input);
    QFETCH(bool, keep);
    QFETCH(QStringList, expected);
    QCOMPARE(TextTools::words(input, keep), expected);
}

void TestTextTools::stem_data()
{
    QTest::addColumn<QString>("word");
    QTest::addColumn<QString>("expected");
    QTest::newRow("long") << u"zusammenfassung"_qs << u"zusamm"_qs;
    QTest::newRow("seven") << u"projekt"_qs << u"projek"_qs;
    QTest::newRow("six") << u"safari"_qs << u"safari"_qs;
    QTest::newRow("short") << u"ab"_qs << u"ab"_qs;
    QTest::newRow("combining counts as one") << u"re\u0301sume\u0301"_qs << u"re\u0301sume\u0301"_qs;
    QTest::newRow("combining seven") << u"re\u0301sume\u0301s"_qs << u"re\u0301sume\u0301"_qs;
}

void TestTextTools::stem()
{
    QFETCH(QString, word);
    QFETCH(QString, expected);
    QCOMPARE(TextTools::stem(word), expected);
}

using KeywordList = QList<TextTools::Keyword>;

void TestTextTools::keywordCounts_data()
{
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<int>("minLength");
    QTest::addColumn<KeywordList>("expected");

    QTest::newRow("capitalised wins once")
        << QStringList{u"Garten garten GARTEN"_qs} << 3
        << KeywordList{{u"garten"_qs, u"Garten"_qs, 1}};
    QTest::newRow("counted per text")
        << QStringList{u"projektplanung"_qs, u"Projekt"_qs} << 3
        << KeywordList{{u"projek"_qs, u"Projekt"_qs, 2}};
    QTest::newRow("shorter capital replaces")
        << QStringList{u"Projektplanung Projekt"_qs} << 3
        << KeywordList{{u"projek"_qs, u"Projekt"_qs, 1}};
    QTest::newRow("digits only skipped")
        << QStringList{u"2024 2024er"_qs} << 3 << KeywordList{{u"2024er"_qs, u"2024er"_qs, 1}};
    QTest::newRow("hyphens trimmed, inner kept")
        << QStringList{u"--e-bike-- -- e-bike"_qs} << 3 << KeywordList{{u"e-bike"_qs, u"e-bike"_qs, 1}};
    QTest::newRow("min length and stop words")
        << QStringList{u"Die Uhr ist rot"_qs} << 4 << KeywordList{};
    QTest::newRow("ties by key")
        << QStringList{u"zebra apfel"_qs, u"apfel mango"_qs} << 3
        << KeywordList{{u"apfel"_qs, u"apfel"_qs, 2}, {u"mango"_qs, u"mango"_qs, 1}, {u"zebra"_qs, u"zebra"_qs, 1}};
    QTest::newRow("code point order above surrogates")
        << QStringList{u"\uff41\uff41 \U0001D41A\U0001D41A"_qs} << 2
        << KeywordList{{u"\uff41\uff41"_qs, u"\uff41\uff41"_qs, 1},
                       {u"\U0001D41A\U0001D41A"_qs, u"\U0001D41A\U0001D41A"_qs, 1}};
}

void TestTextTools::keywordCounts()
{
    QFETCH(QStringList, texts);
    QFETCH(int, minLength);
    QFETCH(KeywordList, expected);
    QCOMPARE(TextTools::keywordCounts(texts, minLength), expected);
}

void TestTextTools::topKeywords_data()
{
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<int>("limit");
    QTest::addColumn<QStringList>("expected");

    // No preference for shorter capitals here: the first capital spelling stays.
    QTest::newRow("first capital stays")
        << QStringList{u"projektplanung Projektplanung Projekt"_qs} << 5
        << QStringList{u"Projektplanung"_qs};
    QTest::newRow("limit and order")
        << QStringList{u"Kamera Objektiv"_qs, u"kamera stativ"_qs, u"Kamera"_qs} << 2
        << QStringList{u"Kamera"_qs, u"Objektiv"_qs};
}

void TestTextTools::topKeywords()
{
    QFETCH(QStringList, texts);
    QFETCH(int, limit);
    QFETCH(QStringList, expected);
    QCOMPARE(TextTools::topKeywords(texts, limit, 3), expected);
}

void TestTextTools::firstSentence_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("maxLength");
    QTest::addColumn<QString>("expected"); // empty: none

    const QString good = u"Der Garten braucht im Fruehling viel Wasser und Licht."_qs;
    QTest::newRow("short sentences only") << u"Kurz. Auch kurz. Sehr kurz hier."_qs << 200 << QString();
    QTest::newRow("skips short then takes long") << (u"Hallo. "_qs + good) << 200 << good;
    QTest::newRow("too few words")
        << u"Donaudampfschifffahrtsgesellschaftskapitaensmuetze ist lang."_qs << 200 << QString();
    QTest::newRow("cookie and login excluded")
        << u"Wir verwenden Cookies auf dieser Seite fuer die beste Erfahrung. "
           "Bitte Log in um alle Inhalte dieser Seite zu lesen und mehr."_qs
        << 200 << QString();
    QTest::newRow("newline joins lines") << u"Der Garten braucht im Fruehling\nviel Wasser und Licht."_qs
                                         << 200 << good;
    QTest::newRow("shortened") << good << 20 << u"Der Garten braucht\u2026"_qs;
    QString many;
    for (int i = 0; i < 41; ++i)
        many += u"Kurz %1. "_qs.arg(i);
    QTest::newRow("41 sentence cut") << (many + good) << 200 << QString();
    QString forty;
    for (int i = 0; i < 40; ++i)
        forty += u"Kurz %1. "_qs.arg(i);
    QTest::newRow("42nd is out, 41st counts") << (forty + good) << 200 << good;
}

void TestTextTools::firstSentence()
{
    QFETCH(QString, text);
    QFETCH(int, maxLength);
    QFETCH(QString, expected);
    const std::optional<QString> sentence = TextTools::firstSentence(text, maxLength);
    if (expected.isEmpty())
        QVERIFY2(!sentence, qPrintable(sentence.value_or(QString())));
    else
        QCOMPARE(sentence.value_or(u"<none>"_qs), expected);
}

void TestTextTools::truncate_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("length");
    QTest::addColumn<QString>("expected");

    QTest::newRow("fits") << u"abcde"_qs << 5 << u"abcde"_qs;
    QTest::newRow("no space") << u"abcdefghij"_qs << 5 << u"abcd\u2026"_qs;
    QTest::newRow("cut at space") << u"the quick brown fox"_qs << 12 << u"the quick\u2026"_qs;
    QTest::newRow("space too early") << u"ab cdefghijkl"_qs << 10 << u"ab cdefgh\u2026"_qs;
    QTest::newRow("length one") << u"abc"_qs << 1 << u"\u2026"_qs;
    // A thumbs-up with skin tone is one character of four code units.
    QTest::newRow("emoji with skin tone fits")
        << u"\U0001F44D\U0001F3FD\U0001F44D\U0001F3FD"_qs << 2 << u"\U0001F44D\U0001F3FD\U0001F44D\U0001F3FD"_qs;
    QTest::newRow("emoji with skin tone cut whole")
        << u"\U0001F44D\U0001F3FD\U0001F44D\U0001F3FD\U0001F44D\U0001F3FD"_qs << 2
        << u"\U0001F44D\U0001F3FD\u2026"_qs;
    QTest::newRow("combining marks") << u"e\u0301e\u0301e\u0301e\u0301"_qs << 3 << u"e\u0301e\u0301\u2026"_qs;
    QTest::newRow("only U+0020 is a space") << u"abcdef\u00a0ghijkl"_qs << 10 << u"abcdef\u00a0gh\u2026"_qs;
}

void TestTextTools::truncate()
{
    QFETCH(QString, text);
    QFETCH(int, length);
    QFETCH(QString, expected);
    QCOMPARE(TextTools::truncate(text, length), expected);
}

void TestTextTools::readableText_data()
{
    QTest::addColumn<QString>("html");
    QTest::addColumn<int>("limit");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("text");

    const QString a400 = QString(400, u'a');
    QTest::newRow("no title") << u"<p>Hallo</p>"_qs << 100 << QString() << u"Hallo"_qs;
    QTest::newRow("title decoded and trimmed")
        << u"<TITLE lang=de>  Caf&eacute; &amp; Bar\n </title><p>x</p>"_qs << 100 << u"Caf\u00e9 & Bar"_qs
        << u"Caf\u00e9 & Bar"_qs;
    QTest::newRow("paragraphs and one-char line")
        << u"<p>One</p><p>Two</p><p>x</p>"_qs << 100 << QString() << u"One\nTwo"_qs;
    QTest::newRow("unwanted elements removed")
        << u"<script>var a=1;</script><nav>Menu</nav><div>Inhalt hier</div>"
           "<footer>Fuss</footer><button>Klick</button><STYLE>p{}</STYLE>"_qs
        << 100 << QString() << u"Inhalt hier"_qs;
    QTest::newRow("lazy pairing")
        << u"<aside>a</aside>Mitte<aside>b</aside>"_qs << 100 << QString() << u"Mitte"_qs;
    QTest::newRow("word boundary after name")
        << u"<p><navi>bleibt</navi></p>"_qs << 100 << QString() << u"bleibt"_qs;
    QTest::newRow("unclosed script only loses its tag")
        << u"<p>vorher</p><script src=x>nachher"_qs << 100 << QString() << u"vorher nachher"_qs;
    QTest::newRow("comments removed")
        << u"<p>a<!-- <p>versteckt</p> -->b</p>"_qs << 100 << QString() << u"a b"_qs;
    QTest::newRow("article of 400 reads whole page")
        << (u"<p>Aussen</p><article>"_qs + a400 + u"</article>"_qs) << 1000 << QString()
        << (u"Aussen\n"_qs + a400);
    QTest::newRow("article of 401 alone")
        << (u"<p>Aussen</p><article>b"_qs + a400 + u"</article>"_qs) << 1000 << QString()
        << (u"b"_qs + a400);
    QTest::newRow("main when article is short")
        << (u"<p>Aussen</p><article>kurz</article><main>"_qs + a400 + u"c</main>"_qs) << 1000
        << QString() << (a400 + u"c"_qs);
    QTest::newRow("article greedy to last closer")
        << (u"<article>"_qs + a400 + u"</article>mitte<article>zz</article>"_qs) << 1000 << QString()
        << (a400 + u" mitte\nzz"_qs);
    QTest::newRow("blanks collapsed, block tags break")
        << u"  viele \t  Leer\u00a0zeichen <br/>neu<li>Punkt<span>inline</span>"_qs << 100 << QString()
        << u"viele Leer zeichen\nneu\nPunkt inline"_qs;
    QTest::newRow("pre is not a block tag") << u"ab<pre>cd</pre>"_qs << 100 << QString() << u"ab cd"_qs;
    QTest::newRow("limit in characters")
        << u"<p>e\u0301e\u0301e\u0301e\u0301</p>"_qs << 3 << QString() << u"e\u0301e\u0301e\u0301"_qs;
    QTest::newRow("other line separators")
        << u"eins\u2028zwei\rdrei"_qs << 100 << QString() << u"eins\nzwei\ndrei"_qs;
    QTest::newRow("empty tag is text") << u"a <> b"_qs << 100 << QString() << u"a <> b"_qs;
    QTest::newRow("entities after tags") << u"<p>&lt;b&gt; ok</p>"_qs << 100 << QString() << u"<b> ok"_qs;
}

void TestTextTools::readableText()
{
    QFETCH(QString, html);
    QFETCH(int, limit);
    QFETCH(QString, title);
    QFETCH(QString, text);
    const TextTools::Readable readable = TextTools::readableText(html, limit);
    QCOMPARE(readable.title, title);
    QCOMPARE(readable.text, text);
}

void TestTextTools::stopWords()
{
    const QSet<QString> &stops = TextTools::stopWords();
    QCOMPARE(stops.size(), 164);
    QVERIFY(stops.contains(u"zusammenfassung"_qs));
    QVERIFY(stops.contains(u"dar\u00fcber"_qs));
    QVERIFY(!stops.contains(u"garten"_qs));
}

PELLMORA_TEST_GUILESS_MAIN(TestTextTools)
#include "TestTextTools.moc"
