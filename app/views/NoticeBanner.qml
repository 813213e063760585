import QtQuick
import Pellmora

// The model's notice in a green line with its OK, above the library's list or
// its empty state.
Rectangle {
    id: banner
    property var model: AppModel
    objectName: "noticeBanner"
    visible: banner.model.notice !== null && banner.model.notice !== undefined
    implicitHeight: Math.max(noticeText.implicitHeight, okButton.implicitHeight) + 14
    radius: 9
    color: Qt.rgba(Theme.green.r, Theme.green.g, Theme.green.b, 0.08)
    border.color: Qt.rgba(Theme.green.r, Theme.green.g, Theme.green.b, 0.35)
    border.width: 1
    Text {
        id: noticeText
        objectName: "noticeText"
        anchors.left: parent.left
        anchors.leftMargin: 14
        anchors.right: okButton.left
        anchors.rightMargin: 10
        anchors.verticalCenter: parent.verticalCenter
        text: banner.visible ? String(banner.model.notice) : ""
        wrapMode: Text.Wrap
        color: Theme.green
        font.pointSize: Theme.points(14.5)
    }
    LinkButtonStyle {
        id: okButton
        objectName: "noticeOk"
        anchors.right: parent.right
        anchors.rightMargin: 8
        anchors.verticalCenter: parent.verticalCenter
        text: "OK"
        onClicked: banner.model.notice = null
    }
}
