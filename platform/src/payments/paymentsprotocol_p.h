#ifndef OM_PAYMENTSPROTOCOL_P_H
#define OM_PAYMENTSPROTOCOL_P_H

// The payment service's control object as the device's service and omctl
// see it. (The library writes the same names as its own.)
//
// Request:  id::<n>  msg::<kind>Type  dat:json:{fields}
// Answer:   @control  msg::<as asked>  id::<as asked>  res::<kind>Success  dat:json:{...}
//                                                      res::<kind>Failure  dat:json:{errorID,
//                                                      errorText, errorSubCode}
//           res::invokeTargetType  dat:json:{target, action, mimeType, uri, metadata}
//           may come before a purchase's answer, with the same id.
//
// A receipt: itemState, date, startDate, endDate, initialPeriod (strings of
// digits, dates in milliseconds), digitalGoodID, digitalGoodSKU, licenseKey,
// metaData, purchaseID, extras {name: text}.
//
// The user side, "/pps/simulator/payments" (the device's owner), answered
// with "dat" or a reason in "err":
//   goods                                 {goods: [good]}
//   addGood     {good fields}             {good}
//   changeGood  {id, fields to change}    {good}
//   removeGood  {id}                      {good}
//   purchases   {package, store}          {purchases: [purchase], total}
//   mode        {mode, invoke}            {mode, invoke}
//   pending                               {pending: [waiting purchase]}
//   approve     {pending}                 {purchase}
//   decline     {pending}                 {pending: id}
//   failNext    {code, text, subCode, request}   {queued}
//   clock       {days}                    {now, offsetDays}
//   refund      {purchaseId}              {purchase}
//   invocations                           {invocations: [what the store was asked]}
//   watch                                 then "changed" {what: "store"} after
//                                         every change of the store's state

#include <QString>

namespace om {
namespace paymentsprotocol {

// One name a line, as a table.
// clang-format off

inline QString controlPath() { return QStringLiteral("/pps/services/paymentsystem/control"); }
inline QString userSidePath() { return QStringLiteral("/pps/simulator/payments"); }

// The requests.
inline QString purchaseMessage() { return QStringLiteral("paymentSystemType"); }
inline QString existingPurchasesMessage() { return QStringLiteral("getExistingPurchasesType"); }
inline QString priceMessage() { return QStringLiteral("getPriceType"); }
inline QString checkExistingMessage() { return QStringLiteral("checkExistingType"); }
inline QString cancelSubscriptionMessage() { return QStringLiteral("cancelSubscriptionType"); }
inline QString messageSuffix() { return QStringLiteral("Type"); }
inline QString successSuffix() { return QStringLiteral("Success"); }
inline QString failureSuffix() { return QStringLiteral("Failure"); }
inline QString invokeTargetResult() { return QStringLiteral("invokeTargetType"); }

inline QString keyUiGroupId() { return QStringLiteral("uiGroupID"); }
inline QString keyCanHandleInvocation() { return QStringLiteral("canHandleInvocation"); }
inline QString keyLocalMode() { return QStringLiteral("localMode"); }
inline QString keyGoodId() { return QStringLiteral("digitalGoodID"); }
inline QString keyGoodSku() { return QStringLiteral("digitalGoodSKU"); }
inline QString keyGoodName() { return QStringLiteral("digitalGoodName"); }
inline QString keyMetadata() { return QStringLiteral("metaData"); }
inline QString keyExtras() { return QStringLiteral("extras"); }
inline QString keyAppName() { return QStringLiteral("purchaseAppName"); }
inline QString keyAppIcon() { return QStringLiteral("purchaseAppIcon"); }
inline QString keyAllowRefresh() { return QStringLiteral("allowRefresh"); }
inline QString keyPurchaseId() { return QStringLiteral("purchaseID"); }

// The answers.
inline QString keyItemState() { return QStringLiteral("itemState"); }
inline QString keyDate() { return QStringLiteral("date"); }
inline QString keyStartDate() { return QStringLiteral("startDate"); }
inline QString keyEndDate() { return QStringLiteral("endDate"); }
inline QString keyInitialPeriod() { return QStringLiteral("initialPeriod"); }
inline QString keyLicenseKey() { return QStringLiteral("licenseKey"); }
inline QString keyPrice() { return QStringLiteral("price"); }
inline QString keyRenewalPrice() { return QStringLiteral("renewalPrice"); }
inline QString keyRenewalPeriod() { return QStringLiteral("renewalPeriod"); }
inline QString keySubscriptionExists() { return QStringLiteral("subscriptionExists"); }
inline QString keyCancelled() { return QStringLiteral("cancelled"); }
inline QString keyErrorId() { return QStringLiteral("errorID"); }
inline QString keyErrorText() { return QStringLiteral("errorText"); }
inline QString keyErrorSubCode() { return QStringLiteral("errorSubCode"); }

// Error codes, and the sub-codes that tell why.
constexpr int ErrorCanceled = 1;
constexpr int ErrorBusy = 2;
constexpr int ErrorFailed = 3;
constexpr int ErrorNoNetwork = 8;
inline QString subCodeDeclined() { return QStringLiteral("declined"); }
inline QString subCodeBusy() { return QStringLiteral("busy"); }
inline QString subCodeFailed() { return QStringLiteral("failed"); }
inline QString subCodeOffline() { return QStringLiteral("offline"); }
inline QString subCodeUnknownGood() { return QStringLiteral("unknownGood"); }
inline QString subCodeUnknownPurchase() { return QStringLiteral("unknownPurchase"); }
inline QString subCodeAlreadyOwned() { return QStringLiteral("alreadyOwned"); }
inline QString subCodeNotSubscription() { return QStringLiteral("notSubscription"); }
inline QString subCodeBadRequest() { return QStringLiteral("badRequest"); }
inline QString subCodeOnDemand() { return QStringLiteral("onDemand"); }

// The store's target of invocations.
inline QString storeTargetName() { return QStringLiteral("om.payments.store"); }
inline QString storeAction() { return QStringLiteral("om.action.PAY"); }
inline QString storeMimeType() { return QStringLiteral("application/vnd.om.payment"); }

// The user side.
inline QString goodsMessage() { return QStringLiteral("goods"); }
inline QString addGoodMessage() { return QStringLiteral("addGood"); }
inline QString changeGoodMessage() { return QStringLiteral("changeGood"); }
inline QString removeGoodMessage() { return QStringLiteral("removeGood"); }
inline QString purchasesMessage() { return QStringLiteral("purchases"); }
inline QString modeMessage() { return QStringLiteral("mode"); }
inline QString pendingMessage() { return QStringLiteral("pending"); }
inline QString approveMessage() { return QStringLiteral("approve"); }
inline QString declineMessage() { return QStringLiteral("decline"); }
inline QString failNextMessage() { return QStringLiteral("failNext"); }
inline QString clockMessage() { return QStringLiteral("clock"); }
inline QString refundMessage() { return QStringLiteral("refund"); }
// What a watcher of the user side is told after any change of the store.
inline QString storeChanged() { return QStringLiteral("store"); }
inline QString invocationsMessage() { return QStringLiteral("invocations"); }

inline QString keyGoods() { return QStringLiteral("goods"); }
inline QString keyGood() { return QStringLiteral("good"); }
inline QString keyId() { return QStringLiteral("id"); }
inline QString keySku() { return QStringLiteral("sku"); }
inline QString keyName() { return QStringLiteral("name"); }
inline QString keyKind() { return QStringLiteral("kind"); }
inline QString keyInitialPeriodDays() { return QStringLiteral("initialPeriodDays"); }
inline QString keyRenewalPeriodDays() { return QStringLiteral("renewalPeriodDays"); }
inline QString keyPurchases() { return QStringLiteral("purchases"); }
inline QString keyPurchase() { return QStringLiteral("purchase"); }
inline QString keyTotal() { return QStringLiteral("total"); }
inline QString keyPackage() { return QStringLiteral("package"); }
inline QString keyStore() { return QStringLiteral("store"); }
inline QString keyMode() { return QStringLiteral("mode"); }
inline QString keyInvoke() { return QStringLiteral("invoke"); }
inline QString keyPending() { return QStringLiteral("pending"); }
inline QString keyCode() { return QStringLiteral("code"); }
inline QString keyText() { return QStringLiteral("text"); }
inline QString keySubCode() { return QStringLiteral("subCode"); }
inline QString keyRequest() { return QStringLiteral("request"); }
inline QString keyQueued() { return QStringLiteral("queued"); }
inline QString keyDays() { return QStringLiteral("days"); }
inline QString keyNow() { return QStringLiteral("now"); }
inline QString keyOffsetDays() { return QStringLiteral("offsetDays"); }
inline QString keyPurchaseIdPlain() { return QStringLiteral("purchaseId"); }
inline QString keyState() { return QStringLiteral("state"); }
inline QString keyActive() { return QStringLiteral("active"); }
inline QString keyInvocations() { return QStringLiteral("invocations"); }
inline QString keyTime() { return QStringLiteral("time"); }
inline QString keySender() { return QStringLiteral("sender"); }
inline QString keyAction() { return QStringLiteral("action"); }
inline QString keyMimeType() { return QStringLiteral("mimeType"); }
inline QString keyUri() { return QStringLiteral("uri"); }

// The kinds of goods, the modes of the user side and the stores.
inline QString kindOwned() { return QStringLiteral("owned"); }
inline QString kindConsumable() { return QStringLiteral("consumable"); }
inline QString kindSubscription() { return QStringLiteral("subscription"); }
inline QString modeApprove() { return QStringLiteral("approve"); }
inline QString modeHold() { return QStringLiteral("hold"); }
inline QString modeDecline() { return QStringLiteral("decline"); }
inline QString modeFail() { return QStringLiteral("fail"); }
inline QString modeBusy() { return QStringLiteral("busy"); }
inline QString modeOffline() { return QStringLiteral("offline"); }
inline QString storeTest() { return QStringLiteral("test"); }
inline QString storeProduction() { return QStringLiteral("production"); }

// clang-format on

} // namespace paymentsprotocol
} // namespace om

#endif
