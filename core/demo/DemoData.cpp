#include "DemoData.h"

#include <QSet>

#include <algorithm>

#include <QTimeZone>

#include "SavedTab.h"
#include "SavedWindow.h"

namespace DemoData {

namespace {

struct Row
{
    int window;
    Key key;
    const char *url;
    const char *title;
    const char *summary;
    const char *tag1;
    const char *tag2; // null for a single tag
};

// clang-format off
const Row rows[] = {
    // Window 1: eight trip, five camera, one other.
    {1, Key::trip, "https://www.booking.com/city/pt/lisbon.html", "Booking.com · Hotels in Lisbon", "Hotels in Lisbon for May, filtered by Alfama and Baixa, free cancellation.", "Hotel", "Lisbon"},
    {1, Key::trip, "https://www.airbnb.com/lisbon-portugal/stays", "Airbnb · Flats in Lisbon", "Holiday flats in Lisbon with balconies, sorted by guest rating.", "Flat", "Lisbon"},
    {1, Key::trip, "https://www.lonelyplanet.com/portugal/lisbon", "Lonely Planet · Lisbon travel guide", "A guide to Lisbon's neighbourhoods, viewpoints and when to go.", "Guide", "Lisbon"},
    {1, Key::trip, "https://www.skyscanner.net/routes/zrh/lis/zurich-to-lisbon.html", "Skyscanner · Flights to Lisbon in May", "Cheapest direct flights from Zurich to Lisbon in May.", "Flights", "May"},
    {1, Key::trip, "https://www.visitlisboa.com/en/places/belem-tower", "Visit Lisboa · Belém Tower", "Opening hours and tickets for Belém Tower and the nearby monastery.", "Sights", "Belem"},
    {1, Key::trip, "https://www.carris.pt/en/tram-28", "Carris · Tram 28 route", "Route, stops and tips for riding the historic tram 28 through Alfama.", "Tram", "Transport"},
    {1, Key::trip, "https://www.timeout.com/lisbon/restaurants/best-restaurants-in-lisbon", "Time Out · Best restaurants in Lisbon", "The best places to eat in Lisbon, from tascas to seafood.", "Restaurants", "Food"},
    {1, Key::trip, "https://www.parquesdesintra.pt/en/pena-palace", "Parques de Sintra · Pena Palace day trip", "Planning a day trip from Lisbon to the Pena Palace in Sintra.", "Sintra", "Day trip"},
    {1, Key::camera, "https://www.dpreview.com/reviews/sony-zv-e10-ii", "DPReview · Sony ZV-E10 II review", "An in-depth review of a compact mirrorless camera for travel video.", "Review", "Mirrorless"},
    {1, Key::camera, "https://www.sony.com/electronics/interchangeable-lens-cameras/zv-e10m2", "Sony · ZV-E10 II product page", "Technical data and kit options of the ZV-E10 II.", "Product", "Sony"},
    {1, Key::camera, "https://www.digitec.ch/en/s1/producttype/cameras-8", "Digitec · System cameras", "A shop listing of system cameras with prices and stock.", "Shop", "Prices"},
    {1, Key::camera, "https://www.youtube.com/watch?v=travelcam2025", "YouTube · Best travel cameras compared", "A video comparing five travel cameras on size, autofocus and video.", "Video", "Comparison"},
    {1, Key::camera, "https://www.reddit.com/r/photography/comments/travel_camera_advice", "Reddit · Which travel camera?", "A forum thread with advice on picking a light camera for trips.", "Forum", "Advice"},
    {1, Key::none, "https://weather.com/weather/tenday/l/Lisbon+Portugal", "Weather.com · Lisbon 10-day forecast", "The ten-day weather forecast for Lisbon.", "Weather", nullptr},
    // Window 2: ten office, seven swift, two camera.
    {2, Key::office, "https://www.dell.com/en-us/shop/dell-ultrasharp-27-4k-monitor", "Dell · UltraSharp 27 4K monitor", "A 27-inch 4K display with USB-C for a home office.", "Display", "Monitor"},
    {2, Key::office, "https://www.hermanmiller.com/products/seating/office-chairs/aeron-chairs/", "Herman Miller · Aeron chair", "An ergonomic office chair with adjustable lumbar support.", "Chair", "Ergonomics"},
    {2, Key::office, "https://www.ikea.com/ch/en/cat/desks-20649/", "IKEA · Desks", "Desks for working from home in several sizes.", "Desk", "Furniture"},
    {2, Key::office, "https://www.keychron.com/products/keychron-k3-pro", "Keychron · K3 Pro keyboard", "A low-profile mechanical keyboard with several layouts.", "Keyboard", "Product"},
    {2, Key::office, "https://www.flexispot.com/standing-desks", "FlexiSpot · Standing desks", "Electric standing desks with memory presets.", "Standing desk", "Desk"},
    {2, Key::office, "https://www.reddit.com/r/battlestations/top", "Reddit · Desk setups", "Photos of home office desk setups for inspiration.", "Setup", "Inspiration"},
    {2, Key::office, "https://www.ergotron.com/en-us/products/product-details/45-241", "Ergotron · LX monitor arm", "A monitor arm that frees desk space and sets the screen height.", "Monitor arm", "Ergonomics"},
    {2, Key::office, "https://www.benq.com/en-us/lighting/monitor-light/screenbar.html", "BenQ · ScreenBar desk lamp", "A monitor light bar that lights the desk without glare.", "Lamp", "Lighting"},
    {2, Key::office, "https://templates.office.com/en-us/home-office-budget", "Office Templates · Home office budget", "A spreadsheet template for planning the home office budget.", "Budget", "Spreadsheet"},
    {2, Key::office, "https://www.wired.com/story/how-to-manage-cables-desk/", "Wired · Cable management guide", "How to hide and tidy cables under and behind a desk.", "Cables", "Guide"},
    {2, Key::swift, "https://developer.apple.com/documentation/swiftui", "Apple Developer · SwiftUI documentation", "Reference documentation for the declarative user-interface framework.", "Documentation", "SwiftUI"},
    {2, Key::swift, "https://www.hackingwithswift.com/100/swiftui", "Hacking with Swift · 100 Days of SwiftUI", "A free course that builds apps step by step over one hundred days.", "Course", "Learning"},
    {2, Key::swift, "https://docs.swift.org/swift-book/documentation/the-swift-programming-language/", "Swift.org · The language guide", "The official guide to the language, from basics to concurrency.", "Language", "Guide"},
    {2, Key::swift, "https://stackoverflow.com/questions/tagged/swift", "Stack Overflow · Questions tagged swift", "Questions and answers about the language and its frameworks.", "Questions", "Answers"},
    {2, Key::swift, "https://github.com/pointfreeco/swift-composable-architecture", "GitHub · Composable Architecture", "An open-source package for structuring apps with state and reducers.", "Package", "Open source"},
    {2, Key::swift, "https://developer.apple.com/videos/wwdc2025/", "Apple Developer · Conference videos", "Session videos from the developer conference, including on-device models.", "Videos", "Conference"},
    {2, Key::swift, "https://developer.apple.com/pathways/", "Apple Developer · Learning paths", "Guided learning paths for building apps for desktop and phone.", "Learning", "Paths"},
    {2, Key::camera, "https://www.fujifilm-x.com/global/products/cameras/x-s20/", "Fujifilm · X-S20 product page", "Features and technical data of a small mirrorless camera with stabilisation.", "Product", "Fujifilm"},
    {2, Key::camera, "https://www.bhphotovideo.com/c/buy/mirrorless-system-cameras/ci/16158", "B&H · Mirrorless cameras", "A camera shop's listing of mirrorless bodies and kits.", "Shop", "Mirrorless"},
    // Window 3: ten finance, three swift, three camera, two trip, one other.
    {3, Key::finance, "https://www.investopedia.com/terms/i/indexfund.asp", "Investopedia · What is an index fund?", "What index funds are, how they track a market and why their costs are low.", "Index fund", "Basics"},
    {3, Key::finance, "https://www.justetf.com/en/how-to/etf-basics.html", "justETF · ETF basics", "How exchange-traded funds work and what to compare before buying.", "ETF", "Basics"},
    {3, Key::finance, "https://www.vanguard.co.uk/professional/product/etf/equity/9679/ftse-all-world-ucits-etf", "Vanguard · FTSE All-World ETF", "A world-stock ETF holding thousands of companies in one fund.", "ETF", "World"},
    {3, Key::finance, "https://www.nerdwallet.com/calculator/retirement-calculator", "NerdWallet · Retirement calculator", "Estimates how much to save each month for retirement.", "Retirement", "Calculator"},
    {3, Key::finance, "https://www.vertex42.com/ExcelTemplates/personal-budget-spreadsheet.html", "Vertex42 · Personal budget template", "A spreadsheet template for tracking monthly income and spending.", "Budget", "Template"},
    {3, Key::finance, "https://en.wikipedia.org/wiki/Index_fund", "Wikipedia · Index fund", "The encyclopaedia article on index funds and their history.", "Index fund", "Encyclopaedia"},
    {3, Key::finance, "https://www.bogleheads.org/wiki/Main_Page", "Bogleheads · Forum wiki", "A community wiki on simple long-term investing.", "Wiki", "Investing"},
    {3, Key::finance, "https://www.bogleheads.org/wiki/Three-fund_portfolio", "Bogleheads · Three-fund portfolio", "A simple portfolio of three broad index funds.", "Portfolio", "Index fund"},
    {3, Key::finance, "https://www.ch.ch/en/taxes-and-finances/taxes/tax-deductions/", "ch.ch · Tax deductions", "Which deductions can be claimed on the yearly tax return.", "Taxes", "Deductions"},
    {3, Key::finance, "https://www.justetf.com/en/find-etf.html", "justETF · ETF screener", "Filter and compare ETFs by index, costs and size.", "ETF", "Screener"},
    {3, Key::swift, "https://developer.apple.com/documentation/foundationmodels", "Apple Developer · Foundation Models", "The framework for using the on-device language model in apps.", "On-device model", "Framework"},
    {3, Key::swift, "https://developer.apple.com/app-store/review/guidelines/", "Apple Developer · App Review Guidelines", "The rules apps must follow to be accepted in the app store.", "App store", "Rules"},
    {3, Key::swift, "https://www.swiftbysundell.com/articles/app-architecture/", "Swift by Sundell · App architecture", "Ways to structure an app's models, views and state.", "Architecture", "Apps"},
    {3, Key::camera, "https://www.dpreview.com/reviews/fujifilm-x100vi-review", "DPReview · Fujifilm X100VI review", "A review of a fixed-lens compact camera for street and travel.", "Review", "Compact"},
    {3, Key::camera, "https://www.sigma-global.com/en/lenses/c023_18_50_28/", "Sigma · 18-50mm F2.8 lens", "A small zoom lens for mirrorless cameras, popular for travel.", "Lens", "Zoom"},
    {3, Key::camera, "https://www.cined.com/ibis-explained-in-body-image-stabilisation/", "CineD · Image stabilisation explained", "How in-body image stabilisation helps handheld video.", "Stabilisation", "Video"},
    {3, Key::trip, "https://www.cp.pt/passageiros/en/train-times", "CP · Train times in Portugal", "Timetables and tickets for trains from Lisbon to Porto and Cascais.", "Train", "Portugal"},
    {3, Key::trip, "https://www.visitcascais.com/en/day-trip-from-lisbon", "Visit Cascais · Day trip from Lisbon", "How to spend a day by the sea in Cascais, half an hour from Lisbon.", "Cascais", "Day trip"},
    {3, Key::none, "https://www.sciencedaily.com/news/", "ScienceDaily · Latest science news", "Today's headlines from research in physics, biology and space.", "Science", nullptr},
};
// clang-format on

QList<Entry> buildEntries()
{
    QList<Entry> out;
    for (const Row &row : rows) {
        Entry entry;
        entry.window = row.window;
        entry.key = row.key;
        entry.url = QString::fromUtf8(row.url);
        entry.title = QString::fromUtf8(row.title);
        entry.summary = QString::fromUtf8(row.summary);
        entry.tags.append(QString::fromUtf8(row.tag1));
        if (row.tag2)
            entry.tags.append(QString::fromUtf8(row.tag2));
        out.append(entry);
    }
    out[0].note = QStringLiteral("Compare with the flat in Alfama before booking.");
    out[0].reminderInDays = 3;
    out[0].projects = {QStringLiteral("Lisbon trip")};
    out[3].note = QStringLiteral("Prices went up 20 euros since last week.");
    out[3].read = true;
    out[11].reminderInDays = -1;
    out[17].note = QStringLiteral("Check whether the Swiss German layout is in stock.");
    out[22].reminderInDays = 0;
    out[29].note = QStringLiteral("Watch the on-device model talk before building the summariser.");
    out[29].reminderInDays = 5;
    out[31].read = true;
    out[35].note = QStringLiteral("Candidate for the monthly plan.");
    out[35].reminderInDays = -2;
    return out;
}

QTime windowTime(int window)
{
    switch (window) {
    case 1:
        return QTime(19, 12);
    case 2:
        return QTime(18, 5);
    case 3:
        return QTime(22, 40);
    default:
        return QTime(19, 0);
    }
}

QDateTime atLocalTime(QDate day, QTime time, const QDateTime &fallback)
{
    // Qt moves a time that falls into a daylight-saving gap forward.
    const QDateTime made(day, time, Qt::LocalTime);
    return made.isValid() ? made : fallback;
}

QString pageText(const Entry &entry)
{
    QStringList parts;
    if (!entry.title.isEmpty())
        parts.append(entry.title + QLatin1Char('.'));
    if (!entry.summary.isEmpty())
        parts.append(entry.summary);
    const QString topic = topicText(entry.key);
    if (!topic.isEmpty())
        parts.append(topic);
    return parts.join(QLatin1Char(' '));
}

} // namespace

QString keyName(Key key)
{
    switch (key) {
    case Key::trip:
        return QStringLiteral("trip");
    case Key::office:
        return QStringLiteral("office");
    case Key::swift:
        return QStringLiteral("swift");
    case Key::camera:
        return QStringLiteral("camera");
    case Key::finance:
        return QStringLiteral("finance");
    case Key::none:
        return QStringLiteral("none");
    }
    return {};
}

const QList<Entry> &entries()
{
    static const QList<Entry> table = buildEntries();
    return table;
}

QString topicText(Key key)
{
    switch (key) {
    case Key::trip:
        return QStringLiteral("Planning a trip to Lisbon, Portugal: flights, hotel, neighbourhoods, tram 28, day trips "
                              "to Sintra and Cascais, restaurants and the best time to travel.");
    case Key::office:
        return QStringLiteral("Setting up a home office: desk, chair, monitor, keyboard, lighting, cable management and "
                              "ergonomics for working from home all day.");
    case Key::swift:
        return QStringLiteral("Learning the Swift programming language and building Mac and iPhone apps: SwiftUI, "
                              "Xcode, async await, app architecture, App Store review and sample code.");
    case Key::camera:
        return QStringLiteral("Choosing a camera for travel and video: mirrorless bodies, lenses, autofocus, image "
                              "stabilisation, sensor size, prices and reviews.");
    case Key::finance:
        return QStringLiteral("Personal finance and taxes: index funds, ETFs, savings rate, retirement accounts, tax "
                              "deductions, budgeting and spreadsheets.");
    case Key::none:
        return {};
    }
    return {};
}

QString contextFreeText()
{
    return QStringLiteral("I'm planning a two-week trip to Lisbon in May and setting up a home office with a new desk "
                          "and monitor.");
}

double windowAgeDays(int window)
{
    switch (window) {
    case 1:
        return 2.0;
    case 2:
        return 9.0;
    case 3:
        return 16.0;
    default:
        return 1.0;
    }
}

LibraryData library(const QDateTime &now)
{
    LibraryData data;
    QList<SavedWindow> windows;
    for (int number = 1; number <= 3; ++number) {
        const QDateTime base = now.addSecs(qint64(-windowAgeDays(number) * 86400.0));
        SavedWindow window;
        window.id = QUuid::createUuid();
        window.savedAt = atLocalTime(base.toLocalTime().date(), windowTime(number), base);
        window.title = SavedWindow::makeTitle(number, window.savedAt);
        windows.append(window);
    }

    int running[3] = {0, 0, 0};
    for (const Entry &entry : entries()) {
        if (entry.window < 1 || entry.window > 3)
            continue;
        SavedWindow &window = windows[entry.window - 1];
        SavedTab tab;
        tab.id = QUuid::createUuid();
        tab.url = entry.url;
        tab.title = entry.title;
        tab.summary = entry.summary;
        tab.note = entry.note;
        tab.tags = entry.tags;
        tab.projectTags = entry.projects;
        tab.domain = SavedTab::domainOf(entry.url);
        tab.savedAt = window.savedAt;
        tab.windowId = window.id;
        tab.windowIndex = entry.window;
        tab.tabIndex = ++running[entry.window - 1];
        tab.text = pageText(entry);
        if (entry.reminderInDays) {
            const QDate day = now.toLocalTime().date().addDays(*entry.reminderInDays);
            tab.reminderAt = atLocalTime(day, QTime(9, 0), now.addDays(*entry.reminderInDays));
        }
        if (entry.read)
            tab.readAt = now;
        tab.isDemo = true;
        window.tabIds.append(tab.id);
        data.tabs.append(tab);
    }
    data.windows = windows;
    return data;
}

QList<SafariWindow> safariSnapshot()
{
    QList<SafariWindow> windows;
    for (const Entry &entry : entries()) {
        auto it = std::find_if(windows.begin(), windows.end(),
                               [&](const SafariWindow &w) { return w.index == entry.window; });
        if (it == windows.end()) {
            windows.append(SafariWindow{entry.window, {}});
            it = windows.end() - 1;
        }
        it->tabs.append({entry.title, entry.url, int(it->tabs.size() + 1)});
    }
    std::sort(windows.begin(), windows.end(),
              [](const SafariWindow &a, const SafariWindow &b) { return a.index < b.index; });
    return windows;
}

std::optional<QString> textFor(const QString &url)
{
    for (const Entry &entry : entries())
        if (entry.url == url)
            return pageText(entry);
    return std::nullopt;
}

bool holdsOwnTabs(const LibraryData &data)
{
    static const QSet<QString> sample = [] {
        QSet<QString> urls;
        for (const Entry &entry : entries())
            urls.insert(entry.url);
        return urls;
    }();
    return std::any_of(data.tabs.cbegin(), data.tabs.cend(),
                       [](const SavedTab &tab) { return !sample.contains(tab.url); });
}

} // namespace DemoData
