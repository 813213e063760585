#include <QCoreApplication>

#include "BenchTable.h"
#include "TextTools.h"

using namespace Qt::StringLiterals;

namespace {

QString page(qsizetype bytes)
{
    QString html = u"<html><head><title>Ein langer Artikel &amp; mehr</title>"
                   "<style>body{color:red}</style><script>var x = 1;</script></head><body>"
                   "<nav><a href=/>Start</a></nav><article>"_s;
    int i = 0;
    while (html.size() < bytes) {
        html += u"<h2>Abschnitt %1</h2><p class=\"text\">Der Garten braucht im Fr&uuml;hling viel "
                "Wasser, Licht und <b>etwas</b> Geduld &ndash; sagt die G&auml;rtnerin.</p>"
                "<!-- Anzeige --><div><span>Bild</span><img src=\"a.png\"></div>"
                "<script>track(%1)</script><ul><li>Punkt eins</li><li>Punkt zwei</li></ul>\n"_s.arg(i++);
    }
    html += u"</article><footer>Impressum</footer></body></html>"_s;
    return html;
}

QString unclosed(const QString &opener, int count)
{
    QString html;
    for (int i = 0; i < count; ++i)
        html += opener + u" Wort "_s;
    return html;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QString big = page(2 * 1024 * 1024);
    const QString divs = unclosed(u"<div"_s, 100000);
    const QString scripts = unclosed(u"<script"_s, 100000);
    const QString closedScripts = unclosed(u"<script>"_s, 100000);
    const QString comments = unclosed(u"<!--"_s, 100000);
    const QString articles = unclosed(u"<article>"_s, 100000);
    std::vector<Bench::Row> rows;
    const qsizetype limit = 1'000'000;
    rows.push_back({u"readableText, 2 MB page"_s,
                    Bench::medianMs(9, [&] { TextTools::readableText(big, limit); }), u"ms"_s, 50.0});
    rows.push_back({u"readableText, 100,000 unclosed <div"_s,
                    Bench::medianMs(9, [&] { TextTools::readableText(divs, limit); }), u"ms"_s, 50.0});
    rows.push_back({u"readableText, 100,000 unclosed <script"_s,
                    Bench::medianMs(9, [&] { TextTools::readableText(scripts, limit); }), u"ms"_s, 50.0});
    rows.push_back({u"readableText, 100,000 <script> without closer"_s,
                    Bench::medianMs(9, [&] { TextTools::readableText(closedScripts, limit); }), u"ms"_s, 50.0});
    rows.push_back({u"readableText, 100,000 unclosed comments"_s,
                    Bench::medianMs(9, [&] { TextTools::readableText(comments, limit); }), u"ms"_s, 50.0});
    rows.push_back({u"readableText, 100,000 <article> without closer"_s,
                    Bench::medianMs(9, [&] { TextTools::readableText(articles, limit); }), u"ms"_s, 50.0});
    return Bench::report(u"Text tools"_s, rows);
}
